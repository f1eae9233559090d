#include "platform/foundation/URL.h"

#include <gtest/gtest.h>

namespace dovrel {
namespace {

TEST(URL, PartsOfAnAbsoluteURL) {
    auto url = URL::fromString("https://user@dovrel.app:8443/a%20b/c?x=1&y=%D0%B2#top");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->scheme(), std::optional<std::string>("https"));
    EXPECT_EQ(url->host(), std::optional<std::string>("dovrel.app"));
    EXPECT_EQ(url->port(), std::optional<std::int64_t>(8443));
    EXPECT_EQ(url->path(), "/a b/c");
    EXPECT_EQ(url->query(), std::optional<std::string>("x=1&y=%D0%B2"));
    EXPECT_EQ(url->fragment(), std::optional<std::string>("top"));
    EXPECT_EQ(url->absoluteString(), url->relativeString());
    EXPECT_EQ(url->baseURL(), nullptr);
    auto components = url->components(false);
    ASSERT_TRUE(components.has_value());
    EXPECT_EQ(components->user(), std::optional<std::string>("user"));
    EXPECT_EQ(components->percentEncodedPath(), "/a%20b/c");
}

TEST(URL, QueryItemsAreDecodedInOrderAndTellNoValueFromAnEmptyOne) {
    auto url = URL::fromString("dovrel-app://x?b=2&a=%41+B&flag&empty=&b=3");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->queryItems(),
              (std::vector<URLQueryItem>{
                  {"b", "2"}, {"a", "A+B"}, {"flag", std::nullopt}, {"empty", ""}, {"b", "3"}}));
}

TEST(URL, NoQueryMeansNoItemsAndAnEmptyQueryMeansNone) {
    EXPECT_EQ(URL::fromString("dovrel-app://x")->queryItems(), std::nullopt);
    EXPECT_EQ(URL::fromString("dovrel-app://x?")->queryItems(), std::vector<URLQueryItem>{});
    EXPECT_EQ(URL::fromString("dovrel-app://x?")->query(), std::optional<std::string>(""));
}

TEST(URL, BracketsAreAcceptedInTheQuery) {
    auto url = URL::fromString("https://dovrel.app/?b[]=1&c[x]=2#frag[1]");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->query(), std::optional<std::string>("b[]=1&c[x]=2"));
    EXPECT_EQ(url->fragment(), std::optional<std::string>("frag[1]"));
    EXPECT_EQ(url->queryItems(), (std::vector<URLQueryItem>{{"b[]", "1"}, {"c[x]", "2"}}));
}

TEST(URL, BracketsStillMarkIPv6Hosts) {
    auto url = URL::fromString("http://[::1]:8080/p");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->host(), std::optional<std::string>("::1"));
    EXPECT_EQ(url->port(), std::optional<std::int64_t>(8080));
    EXPECT_FALSE(URL::fromString("http://exa[mple.com/").has_value());
}

TEST(URL, CustomSchemeLinks) {
    auto bare = URL::fromString("dovrel-app:");
    ASSERT_TRUE(bare.has_value());
    EXPECT_EQ(bare->scheme(), std::optional<std::string>("dovrel-app"));
    EXPECT_EQ(bare->host(), std::nullopt);
    EXPECT_EQ(bare->path(), "");

    auto opaque = URL::fromString("mailto:feedback@dovrel.app");
    ASSERT_TRUE(opaque.has_value());
    EXPECT_EQ(opaque->host(), std::nullopt);
    EXPECT_EQ(opaque->path(), "feedback@dovrel.app");

    auto emptyHost = URL::fromString("dovrel-app://");
    ASSERT_TRUE(emptyHost.has_value());
    EXPECT_EQ(emptyHost->host(), std::optional<std::string>(""));
}

TEST(URL, TextThatIsNotAURIReferenceDoesNotParse) {
    EXPECT_FALSE(URL::fromString("dovrel app://x").has_value());
    EXPECT_FALSE(URL::fromString("https://dovrel.app/%zz").has_value());
    EXPECT_FALSE(URL::fromString("https://dovrel.app/a b").has_value());
    EXPECT_FALSE(URL::fromString("http://x:port/").has_value());
}

TEST(URL, RelativeReferencesResolveAgainstTheirBase) {
    auto base = URL::fromString("https://dovrel.app/docs/guide/index.html?lang=uk");
    ASSERT_TRUE(base.has_value());
    auto sibling = URL::fromString("../faq?q=1#top", *base);
    ASSERT_TRUE(sibling.has_value());
    EXPECT_EQ(sibling->relativeString(), "../faq?q=1#top");
    EXPECT_EQ(sibling->absoluteString(), "https://dovrel.app/docs/faq?q=1#top");
    EXPECT_EQ(sibling->host(), std::optional<std::string>("dovrel.app"));
    ASSERT_NE(sibling->baseURL(), nullptr);
    EXPECT_EQ(*sibling->baseURL(), *base);

    // The components as written know nothing of the base.
    auto written = sibling->components(false);
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(written->scheme(), std::nullopt);
    EXPECT_EQ(written->host(), std::nullopt);
    EXPECT_EQ(written->percentEncodedPath(), "../faq");

    auto absolute = sibling->absoluteURL();
    EXPECT_EQ(absolute.baseURL(), nullptr);
    EXPECT_EQ(absolute.relativeString(), "https://dovrel.app/docs/faq?q=1#top");

    EXPECT_EQ(URL::fromString("?x=2", *base)->absoluteString(),
              "https://dovrel.app/docs/guide/index.html?x=2");
    EXPECT_EQ(URL::fromString("dovrel-app://other", *base)->absoluteString(), "dovrel-app://other");
}

TEST(URL, ABaseWithoutSchemeCannotResolve) {
    auto relativeBase = URL::fromString("docs/");
    ASSERT_TRUE(relativeBase.has_value());
    EXPECT_FALSE(URL::fromString("faq", *relativeBase).has_value());
}

TEST(URL, EqualityComparesTextAndBase) {
    auto base = *URL::fromString("https://dovrel.app/");
    EXPECT_EQ(*URL::fromString("a"), *URL::fromString("a"));
    EXPECT_FALSE(*URL::fromString("a", base) == *URL::fromString("a"));
    EXPECT_FALSE(*URL::fromString("https://dovrel.app/a") == *URL::fromString("a", base));
}

TEST(URL, RemovingPercentEncoding) {
    EXPECT_EQ(removingPercentEncoding("a%20b%2Fc"), "a b/c");
    EXPECT_EQ(removingPercentEncoding("100%"), "100%");
    EXPECT_EQ(removingPercentEncoding("%zz%4"), "%zz%4");
}

}  // namespace
}  // namespace dovrel
