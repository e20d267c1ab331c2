#include "fleet/Credentials.hpp"
#include "fleet/ServerAddress.hpp"
#include "fleet/ServerWords.hpp"
#include "output/Session.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

using namespace KestrelCLI;
using testing::HasSubstr;
using testing::Not;

TEST(FleetServerAddress, readsURLs) {
    const ServerAddress plain = ServerAddress::parse("http://store.example/kestrel");
    EXPECT_EQ(plain,
              (ServerAddress{.isEncrypted = false, .host = "store.example", .port = 8123, .database = "kestrel"}));
    EXPECT_EQ(plain.name(), "store.example:8123");
    const ServerAddress full = ServerAddress::parse("https://[::1]:9000/a%20%27%2Fb/");
    EXPECT_EQ(full, (ServerAddress{.isEncrypted = true, .host = "::1", .port = 9000, .database = "a '/b"}));
    EXPECT_EQ(full.url(), "https://[::1]:9000/");
    EXPECT_TRUE(full.isLoopback());
    EXPECT_EQ(ServerAddress::parse("https://x/d").port, 8443);
    EXPECT_TRUE(ServerAddress::parse("HTTPS://x/d").isEncrypted);
    EXPECT_FALSE(ServerAddress::parse("Http://x/d").isEncrypted);
}

TEST(FleetServerAddress, refusesWhatIsNoServer) {
    for (const char* url :
         {"", "store.example/kestrel", "ftp://x/y", "http://", "http:///d", "http://x", "http://x/", "http://x:0/d",
          "http://x:65536/d", "http://x:1a/d", "http://x/d?user=me", "http://x/d#e", "http://x/a/b", "http://x/%4",
          "http://x/%zz", "http://[::1/d", "http://a b/d", "http://x\r\ny/d"}) {
        EXPECT_THROW((void)ServerAddress::parse(url), UsageError) << url;
    }
}

TEST(FleetServerAddress, tellsNoPasswordOfAURL) {
    for (const char* url : {"http://anna:secret@x/d", "http://x/secret@d", "https://secret@x/d?q"}) {
        try {
            (void)ServerAddress::parse(url);
            FAIL() << url;
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), Not(HasSubstr("secret")));
        }
    }
}

TEST(FleetCredentials, areTwoLines) {
    const Credentials credentials = Credentials::parse("anna\r\np w\n", "f");
    EXPECT_EQ(credentials.user, "anna");
    EXPECT_EQ(credentials.password, "p w");
    EXPECT_EQ(Credentials::parse("anna", "f").password, "");
    for (const char* text : {"", "\nsecret\n", "anna\nsecret\nmore\n"}) {
        try {
            (void)Credentials::parse(text, "f");
            FAIL() << text;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), Not(HasSubstr("secret")));
        }
    }
}

TEST(FleetServerWords, areOneSentenceOfAnyRelease) {
    const ServerAddress address = ServerAddress::parse("http://x:1/d");
    const Credentials credentials{.user = "anna", .password = "secret"};
    const ServerWords words{address, credentials};
    const auto old = words.ofAnswer(
        404, "Code: 47, e.displayText() = DB::Exception: Unknown identifier: y., e.what() = DB::Exception\n");
    EXPECT_EQ(old.sentence, "x:1 answers with an error: Unknown identifier: y.");
    EXPECT_EQ(old.code, 47);
    EXPECT_EQ(
        words
            .ofAnswer(500,
                      "Code: 241. DB::Exception: Memory limit\n exceeded. (MEMORY_LIMIT_EXCEEDED) (version 23.8.2.7)")
            .sentence,
        "x:1 answers with an error: Memory limit exceeded. (MEMORY_LIMIT_EXCEEDED).");
    EXPECT_EQ(words.ofAnswer(502, "<html>").sentence,
              "x:1 doesn’t answer as ClickHouse does (HTTP status 502: <html>).");
    EXPECT_THAT(words.ofAnswer(500, "Code: 243, DB::Exception: Cannot reserve").sentence,
                HasSubstr("The disk of x:1 is full"));
    EXPECT_THAT(words.ofAnswer(404, "Code: 60, DB::Exception: Table d.snapshots doesn't exist.").sentence,
                HasSubstr("schema.sql"));
    EXPECT_LT(words.ofAnswer(500, "Code: 1, DB::Exception: " + std::string(100'000, 'a')).sentence.size(), 600U);
}

TEST(FleetServerWords, neverHaveThePassword) {
    const ServerAddress address = ServerAddress::parse("http://x:1/d");
    const Credentials credentials{.user = "anna", .password = "secret"};
    const ServerWords words{address, credentials};
    for (const std::string& body :
         {std::string{"Code: 1, DB::Exception: your secret, secret"},
          std::string{"Authorization: Basic YW5uYTpzZWNyZXQ="}, std::string{"secretsecret"}}) {
        const std::string sentence = words.ofAnswer(500, body).sentence;
        EXPECT_THAT(sentence, Not(HasSubstr("secret")));
        EXPECT_THAT(sentence, Not(HasSubstr("YW5uYTpzZWNyZXQ")));
        EXPECT_THAT(sentence, HasSubstr("…"));
    }
    EXPECT_THAT(words.ofConnection(56, "secret").sentence, Not(HasSubstr("secret")));
}
