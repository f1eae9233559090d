// What the notification center reads back from its file: a request's content, trigger and the
// categories, each a JSON text.

#include <cstdint>
#include <string>

#include "platform/notifications/NotificationCoding.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel::notifications;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    try {
        (void)encodeContent(decodeContent(text));
    } catch (const NotificationDecodingError&) {
    }
    try {
        (void)encodeTrigger(decodeTrigger(text));
    } catch (const NotificationDecodingError&) {
    }
    try {
        (void)encodeCategory(decodeCategory(text));
    } catch (const NotificationDecodingError&) {
    }
    return 0;
}
