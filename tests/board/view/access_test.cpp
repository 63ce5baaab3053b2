#include "view/access.h"

#include <gtest/gtest.h>

namespace orka::board {
namespace {

TEST(ViewAccess, IsByLocalhostAndTheBoundAddress)
{
    for (const char *const header : {"localhost", "localhost:80", "127.0.0.1", "127.0.0.1:4711"})
        EXPECT_TRUE(is_own_host(header, "127.0.0.1")) << header;
    for (const char *const header : {"[::1]", "[::1]:80"})
        EXPECT_TRUE(is_own_host(header, "::1")) << header;
}

TEST(ViewAccess, IsByNoOtherName)
{
    for (const char *const header : {"", "evil.example", "evil.example:80", "localhost.evil.example",
                                     "10.0.0.1", "127.0.0.1.evil.example", "[", "[]", ":80"})
        EXPECT_FALSE(is_own_host(header, "127.0.0.1")) << header;
}

TEST(ViewAccess, OfAllAddressesIsByEachAddressAndNoName)
{
    EXPECT_TRUE(is_own_host("192.168.1.7:8080", "0.0.0.0"));
    EXPECT_TRUE(is_own_host("[fe80::1]:8080", "::"));
    EXPECT_FALSE(is_own_host("evil.example:8080", "0.0.0.0"));
}

TEST(ViewAccess, OfActionsIsForTheOwnPageAndForPrograms)
{
    EXPECT_TRUE(is_own_origin("http://127.0.0.1:80", "127.0.0.1:80"));
    EXPECT_TRUE(is_own_origin("", "127.0.0.1:80"));
    for (const char *const origin :
         {"null", "http://127.0.0.1:81", "https://127.0.0.1:80", "http://evil.example"})
        EXPECT_FALSE(is_own_origin(origin, "127.0.0.1:80")) << origin;
}

} // namespace
} // namespace orka::board
