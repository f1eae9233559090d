// URLs and their parts, as links into the application arrive as text.

#include <cstdint>
#include <string>

#include "DovrelFoundation/Settings/HabitURL.h"
#include "platform/foundation/URL.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    if (const auto url = URL::fromString(text)) {
        (void)url->absoluteString();
        (void)url->host();
        (void)url->scheme();
        (void)HabitURL::fromRawValue(url->host().value_or(""));
        if (const auto relative = URL::fromString("a/b?c#d", *url)) {
            (void)relative->absoluteString();
        }
    }
    if (const auto components = URLComponents::fromString(text)) {
        (void)components->host();
    }
    (void)removingPercentEncoding(text);
    return 0;
}
