#include "platform/foundation/Localization.h"

#include <libintl.h>

#include <filesystem>
#include <mutex>
#include <string>

#include "platform/foundation/Bundle.h"

namespace dovrel {

namespace {

constexpr const char* kDomain = "dovrel";

// Binds the domain to the main bundle's catalogues once per process. Translations are looked up
// with dgettext, so the process's default text domain (which a toolkit may own) stays untouched.
// The catalogues are in the resources' "locale" folder in a build, and in the system's locale
// folder beside the resources (<prefix>/share/locale) once installed.
void bindDomain() {
    static std::once_flag once;
    std::call_once(once, [] {
        const auto resources = Bundle::main().resourcePath();
        std::error_code error;
        auto directory = resources / "locale";
        if (!std::filesystem::is_directory(directory, error)) {
            directory = resources.parent_path() / "locale";
        }
        ::bindtextdomain(kDomain, directory.c_str());
        ::bind_textdomain_codeset(kDomain, "UTF-8");
    });
}

}  // namespace

std::string Localization::localizedString(std::string_view key) {
    bindDomain();
    // gettext needs a NUL-terminated message id; it returns either the translation or the very
    // pointer it was given, and both are copied before `id` goes away.
    const std::string id(key);
    if (id.empty()) {
        // The empty message id names the catalogue's header entry, not a text.
        return id;
    }
    return std::string(::dgettext(kDomain, id.c_str()));
}

}  // namespace dovrel
