// The keyed-archive reader, through the model's two archived types: a colour and a repeat
// interval.

#include <cstdint>

#include "DovrelFoundation/Model/ValueTransformers.h"
#include "platform/foundation/KeyedUnarchiver.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    const Data data(bytes, bytes + size);
    (void)KeyedUnarchiver::unarchivedObject(data, {kColorArchiveClassName, "NSColor"},
                                            decodeColorArchive);
    (void)KeyedUnarchiver::unarchivedObject<RepeatInterval>(data);
    return 0;
}
