#include "platform/foundation/URL.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace dovrel {

namespace {

// A parsed uriparser URI that frees its members when it goes.
class ParsedUri {
  public:
    ParsedUri() = default;
    ~ParsedUri() {
        if (parsed_) {
            uriFreeUriMembersA(&uri_);
        }
    }
    ParsedUri(const ParsedUri&) = delete;
    ParsedUri& operator=(const ParsedUri&) = delete;

    bool parse(std::string_view text) {
        const char* errorPosition = nullptr;
        parsed_ = uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(),
                                       &errorPosition) == URI_SUCCESS;
        return parsed_;
    }

    // Marks a URI filled by another uriparser call (uriAddBaseUriA) as owned.
    void adopt() { parsed_ = true; }

    UriUriA* get() noexcept { return &uri_; }
    const UriUriA* get() const noexcept { return &uri_; }

  private:
    UriUriA uri_{};
    bool parsed_ = false;
};

// A query list from uriDissectQueryMallocExA, freed when it goes.
struct QueryList {
    UriQueryListA* head = nullptr;
    ~QueryList() {
        if (head != nullptr) {
            uriFreeQueryListA(head);
        }
    }
};

std::optional<std::string> rangeText(const UriTextRangeA& range) {
    if (range.first == nullptr) {
        return std::nullopt;
    }
    return std::string(range.first, range.afterLast);
}

// The path of a reference that uriparser has validated, by the split of RFC 3986 appendix B:
// skip the scheme and the authority, stop at the query or the fragment.
std::string_view pathOf(std::string_view text) {
    std::size_t position = 0;
    const std::size_t schemeEnd = text.find_first_of(":/?#");
    if (schemeEnd != std::string_view::npos && text[schemeEnd] == ':') {
        position = schemeEnd + 1;
    }
    if (text.substr(position, 2) == "//") {
        const std::size_t authorityEnd = text.find_first_of("/?#", position + 2);
        position = authorityEnd == std::string_view::npos ? text.size() : authorityEnd;
    }
    const std::size_t pathEnd = text.find_first_of("?#", position);
    return text.substr(
        position, pathEnd == std::string_view::npos ? std::string_view::npos : pathEnd - position);
}

std::optional<std::string> resolve(std::string_view text, const std::string& base) {
    ParsedUri relative;
    ParsedUri absoluteBase;
    if (!relative.parse(text) || !absoluteBase.parse(base)) {
        return std::nullopt;
    }
    ParsedUri resolved;
    if (uriAddBaseUriA(resolved.get(), relative.get(), absoluteBase.get()) != URI_SUCCESS) {
        return std::nullopt;  // uriparser cleans up the destination itself on failure
    }
    resolved.adopt();
    int length = 0;
    if (uriToStringCharsRequiredA(resolved.get(), &length) != URI_SUCCESS) {
        return std::nullopt;
    }
    std::string result(static_cast<std::size_t>(length) + 1, '\0');
    if (uriToStringA(result.data(), resolved.get(), length + 1, nullptr) != URI_SUCCESS) {
        return std::nullopt;
    }
    result.resize(static_cast<std::size_t>(length));
    return result;
}

}  // namespace

std::optional<URLComponents> URLComponents::fromString(std::string_view text) {
    // Where the query ("?") and the fragment ("#") begin: no earlier part may contain either.
    const std::size_t fragmentStart = text.find('#');
    const std::size_t queryStart = text.substr(0, fragmentStart).find('?');
    const std::size_t tailStart = std::min(queryStart, fragmentStart);

    // Links in the wild write "[" and "]" unencoded in their queries ("?b[]=2"), which RFC 3986
    // reserves for IPv6 hosts. Accept them there, as the platform's URL parser does, by
    // validating a copy in which they are escaped; the parts are still read from the text itself.
    std::string validated(text);
    if (tailStart != std::string_view::npos) {
        validated.resize(tailStart);
        for (char c : text.substr(tailStart)) {
            if (c == '[') {
                validated += "%5B";
            } else if (c == ']') {
                validated += "%5D";
            } else {
                validated.push_back(c);
            }
        }
    }
    ParsedUri uri;
    if (!uri.parse(validated)) {
        return std::nullopt;
    }
    const UriUriA& parts = *uri.get();
    URLComponents components;
    components.scheme_ = rangeText(parts.scheme);
    components.user_ = rangeText(parts.userInfo);
    components.host_ = rangeText(parts.hostText);
    if (auto port = rangeText(parts.portText); port && !port->empty()) {
        std::int64_t number = 0;
        const auto [end, error] =
            std::from_chars(port->data(), port->data() + port->size(), number);
        if (error == std::errc() && end == port->data() + port->size()) {
            components.port_ = number;
        }
    }
    components.percentEncodedPath_ = std::string(pathOf(text));
    if (queryStart != std::string_view::npos) {
        const std::size_t queryEnd =
            fragmentStart == std::string_view::npos ? text.size() : fragmentStart;
        components.query_ = std::string(text.substr(queryStart + 1, queryEnd - queryStart - 1));
    }
    if (fragmentStart != std::string_view::npos) {
        components.fragment_ = std::string(text.substr(fragmentStart + 1));
    }
    return components;
}

std::string URLComponents::path() const {
    return removingPercentEncoding(percentEncodedPath_);
}

std::optional<std::vector<URLQueryItem>> URLComponents::queryItems() const {
    if (!query_) {
        return std::nullopt;
    }
    std::vector<URLQueryItem> items;
    if (query_->empty()) {
        return items;
    }
    QueryList list;
    int count = 0;
    // Like the platform's query items, "+" is data, not an encoded space.
    if (uriDissectQueryMallocExA(&list.head, &count, query_->data(),
                                 query_->data() + query_->size(), URI_FALSE,
                                 URI_BR_DONT_TOUCH) != URI_SUCCESS) {
        return items;
    }
    items.reserve(static_cast<std::size_t>(count));
    for (const UriQueryListA* item = list.head; item != nullptr; item = item->next) {
        URLQueryItem queryItem;
        queryItem.name = item->key != nullptr ? item->key : "";
        if (item->value != nullptr) {
            queryItem.value = item->value;
        }
        items.push_back(std::move(queryItem));
    }
    return items;
}

URL::URL(std::string text, std::shared_ptr<const URL> base, std::string absoluteString,
         URLComponents absolute)
    : text_(std::move(text)),
      base_(std::move(base)),
      absoluteString_(std::move(absoluteString)),
      absolute_(std::move(absolute)) {}

std::optional<URL> URL::fromString(std::string_view text) {
    auto components = URLComponents::fromString(text);
    if (!components) {
        return std::nullopt;
    }
    return URL(std::string(text), nullptr, std::string(text), std::move(*components));
}

std::optional<URL> URL::fromString(std::string_view text, const URL& base) {
    auto absoluteString = resolve(text, base.absoluteString());
    if (!absoluteString) {
        return std::nullopt;
    }
    auto components = URLComponents::fromString(*absoluteString);
    if (!components) {
        return std::nullopt;
    }
    return URL(std::string(text), std::make_shared<const URL>(base), std::move(*absoluteString),
               std::move(*components));
}

URL URL::absoluteURL() const {
    return URL(absoluteString_, nullptr, absoluteString_, absolute_);
}

std::optional<URLComponents> URL::components(bool resolvingAgainstBaseURL) const {
    if (resolvingAgainstBaseURL) {
        return absolute_;
    }
    return URLComponents::fromString(text_);
}

bool operator==(const URL& a, const URL& b) {
    if (a.text_ != b.text_) {
        return false;
    }
    if (a.base_ == nullptr || b.base_ == nullptr) {
        return a.base_ == b.base_;
    }
    return *a.base_ == *b.base_;
}

std::string removingPercentEncoding(std::string_view text) {
    auto hexValue = [](char c) -> int {
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
    };
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                decoded.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        decoded.push_back(text[i]);
    }
    return decoded;
}

}  // namespace dovrel
