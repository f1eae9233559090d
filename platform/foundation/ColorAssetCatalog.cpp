#include "platform/foundation/ColorAssetCatalog.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "platform/foundation/Error.h"

namespace dovrel {

namespace {

Error assetError(std::int64_t code, const std::string& description) {
    return Error(ColorAssetCatalog::kErrorDomain, code,
                 {{Error::kLocalizedDescriptionKey, description}});
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::vector<double> appearance(const nlohmann::json& entry, const char* style,
                               const std::string& name) {
    const auto& value = entry.at(style);
    if (!value.is_string()) {
        throw assetError(ColorAssetCatalog::kMalformedFile,
                         "colour \"" + name + "\": \"" + style + "\" is not a text");
    }
    auto components = ColorAssetCatalog::componentsFromHexString(value.get<std::string>());
    if (!components) {
        throw assetError(ColorAssetCatalog::kMalformedFile,
                         "colour \"" + name + "\": \"" + style + "\" is not #RRGGBB or #RRGGBBAA");
    }
    return std::move(*components);
}

}  // namespace

ColorAssetCatalog ColorAssetCatalog::load(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw assetError(kUnreadableFile, "cannot read the colour asset file " + file.string());
    }
    std::ostringstream contents;
    contents << stream.rdbuf();
    if (stream.bad()) {
        throw assetError(kUnreadableFile, "cannot read the colour asset file " + file.string());
    }
    try {
        return parse(contents.str());
    } catch (const Error& error) {
        throw assetError(error.code(), file.string() + ": " + error.localizedDescription());
    }
}

ColorAssetCatalog ColorAssetCatalog::parse(std::string_view json) {
    const auto document = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (document.is_discarded()) {
        throw assetError(kMalformedFile, "not valid JSON");
    }
    if (!document.is_object()) {
        throw assetError(kMalformedFile, "the top level is not an object");
    }
    ColorAssetCatalog catalog;
    for (const auto& [name, entry] : document.items()) {
        if (!entry.is_object() || !entry.contains("light")) {
            throw assetError(kMalformedFile,
                             "colour \"" + name + "\" is not an object with a \"light\" value");
        }
        std::optional<std::vector<double>> dark;
        if (entry.contains("dark")) {
            dark = appearance(entry, "dark", name);
        }
        catalog.colors_.emplace(name, Color(appearance(entry, "light", name), std::move(dark)));
    }
    return catalog;
}

std::optional<Color> ColorAssetCatalog::color(std::string_view name) const {
    const auto found = colors_.find(name);
    if (found == colors_.end()) {
        return std::nullopt;
    }
    return found->second;
}

std::optional<std::vector<double>> ColorAssetCatalog::componentsFromHexString(
    std::string_view text) {
    if (text.empty() || text.front() != '#' || (text.size() != 7 && text.size() != 9)) {
        return std::nullopt;
    }
    std::vector<double> components;
    for (std::size_t i = 1; i < text.size(); i += 2) {
        const int high = hexDigit(text[i]);
        const int low = hexDigit(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        components.push_back(static_cast<double>(high * 16 + low) / 255.0);
    }
    if (components.size() == 3) {
        components.push_back(1.0);
    }
    return components;
}

}  // namespace dovrel
