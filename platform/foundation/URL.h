#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// One name=value pair of a URL's query, percent-decoded. `value` is absent for an item written
// without "=" ("?flag"), and empty for one written with an empty value ("?flag=").
struct URLQueryItem {
    std::string name;
    std::optional<std::string> value;

    friend bool operator==(const URLQueryItem&, const URLQueryItem&) = default;
};

// The parts of one RFC 3986 URI reference, as written (no resolution against anything).
// A part that the text does not contain is absent; a part written empty ("scheme://" has an
// empty host, "?" an empty query) is present and empty. `path` is never absent: a reference
// without a path has the empty path.
class URLComponents {
  public:
    // The components of `text`, or nothing when it is not a valid URI reference.
    static std::optional<URLComponents> fromString(std::string_view text);

    const std::optional<std::string>& scheme() const noexcept { return scheme_; }
    const std::optional<std::string>& user() const noexcept { return user_; }
    // Without the brackets of an IPv6 literal.
    const std::optional<std::string>& host() const noexcept { return host_; }
    const std::optional<std::int64_t>& port() const noexcept { return port_; }
    // The path with percent escapes decoded, and as written.
    std::string path() const;
    const std::string& percentEncodedPath() const noexcept { return percentEncodedPath_; }
    // The query without its "?" and the fragment without its "#", as written.
    const std::optional<std::string>& percentEncodedQuery() const noexcept { return query_; }
    const std::optional<std::string>& fragment() const noexcept { return fragment_; }
    // The query split at "&" into items, names and values percent-decoded ("+" stays "+"), in
    // order of appearance. Absent when there is no query.
    std::optional<std::vector<URLQueryItem>> queryItems() const;

    friend bool operator==(const URLComponents&, const URLComponents&) = default;

  private:
    URLComponents() = default;

    std::optional<std::string> scheme_;
    std::optional<std::string> user_;
    std::optional<std::string> host_;
    std::optional<std::int64_t> port_;
    std::string percentEncodedPath_;
    std::optional<std::string> query_;
    std::optional<std::string> fragment_;
};

// A URL: the text it was made from, optionally relative to a base URL. Every accessor answers for
// the absolute URL (the text resolved against the base, RFC 3986 section 5), except
// relativeString(). Values are immutable and cheap to copy (the base is shared).
class URL {
  public:
    // The URL for `text`, or nothing when `text` is not a valid URI reference.
    static std::optional<URL> fromString(std::string_view text);
    // `text` relative to `base`; nothing when `text` is not a valid reference or `base` has no
    // scheme to resolve against.
    static std::optional<URL> fromString(std::string_view text, const URL& base);

    // The text this URL was made from.
    const std::string& relativeString() const noexcept { return text_; }
    // The text resolved against the base (the text itself when there is no base).
    const std::string& absoluteString() const noexcept { return absoluteString_; }
    const URL* baseURL() const noexcept { return base_.get(); }
    // The same location without a base.
    URL absoluteURL() const;

    const std::optional<std::string>& scheme() const noexcept { return absolute_.scheme(); }
    const std::optional<std::string>& host() const noexcept { return absolute_.host(); }
    const std::optional<std::int64_t>& port() const noexcept { return absolute_.port(); }
    std::string path() const { return absolute_.path(); }
    const std::optional<std::string>& query() const noexcept {
        return absolute_.percentEncodedQuery();
    }
    const std::optional<std::string>& fragment() const noexcept { return absolute_.fragment(); }
    std::optional<std::vector<URLQueryItem>> queryItems() const { return absolute_.queryItems(); }

    // The components of the URL: of the text as written when `resolvingAgainstBaseURL` is false,
    // of the absolute URL when it is true.
    std::optional<URLComponents> components(bool resolvingAgainstBaseURL) const;

    // Two URLs are equal when their texts and their bases are equal.
    friend bool operator==(const URL& a, const URL& b);

  private:
    URL(std::string text, std::shared_ptr<const URL> base, std::string absoluteString,
        URLComponents absolute);

    std::string text_;
    std::shared_ptr<const URL> base_;
    std::string absoluteString_;
    URLComponents absolute_;
};

// `text` with every "%XX" escape decoded (a malformed escape is kept as written).
std::string removingPercentEncoding(std::string_view text);

}  // namespace dovrel
