#include "DovrelFoundation/UI/LoadFromNib.h"

#include "platform/foundation/FatalError.h"

namespace dovrel {

void failToLoadNib(const std::string& name) {
    fatalError("Could not load nib named " + name + " in the main bundle");
}

}  // namespace dovrel
