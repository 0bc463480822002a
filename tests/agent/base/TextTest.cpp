#include "agent/base/Text.h"
#include "agent/base/FileText.h"

#include <gmock/gmock.h>

#include <fstream>

using namespace UmoAgent;

TEST(Text, WhatIsNoPrintableUtf8ShowsAsItsBytes) {
    std::pair<std::string, std::string> const cases[] = {
        {"Z\xc3\xbcrich \xe2\x82\xac \xf0\x9f\x98\x80 \\x41",
         "Z\xc3\xbcrich \xe2\x82\xac \xf0\x9f\x98\x80 \\x41"},
        {std::string("\0\t\n\r\x1b[2J\x7f", 9), "\\x00\\x09\\x0a\\x0d\\x1b[2J\\x7f"},
        {"\xc2\x80\xc2\x9b\xc2\xa0",
         "\\xc2\\x80\\xc2\\x9b\xc2\xa0"}, // the last is the first after the controls
        {"\x80.\xff.\xc3", "\\x80.\\xff.\\xc3"},
        {"\xe2\x82.\xf0\x9f\x98.", "\\xe2\\x82.\\xf0\\x9f\\x98."}, // truncated
        {"\xc0\xaf\xc1\xbf\xe0\x9f\xbf\xf0\x8f\xbf\xbf",
         "\\xc0\\xaf\\xc1\\xbf\\xe0\\x9f\\xbf\\xf0\\x8f\\xbf\\xbf"}, // overlong
        {"\xed\x9f\xbf\xed\xa0\x80", "\xed\x9f\xbf\\xed\\xa0\\x80"}, // a surrogate
        {"\xf4\x8f\xbf\xbf\xf4\x90\x80\x80\xf5", "\xf4\x8f\xbf\xbf\\xf4\\x90\\x80\\x80\\xf5"},
    };
    for (auto const &[text, shown] : cases) {
        EXPECT_EQ(printable(text), shown);
        EXPECT_EQ(printable(shown), shown);
        EXPECT_EQ(inQuotes(text), '"' + shown + '"');
    }
    EXPECT_EQ(printable("a\tb\nc\r\x1b", "\n\t"), "a\tb\nc\\x0d\\x1b");
    EXPECT_EQ(width("Z\xc3\xbc \xe2\x82\xac\xf0\x9f\x98\x80"), 5U);
}

TEST(Text, OfAFileIsReadUpToItsLimit) {
    std::string const path = testing::TempDir() + "umo-text-" + std::to_string(getpid());
    std::string const text(200'000, 'x');
    std::ofstream(path) << text;
    auto const reason = [](FileText const &read) { return std::get<Unreadable>(read).reason; };
    EXPECT_EQ(std::get<std::string>(readFileText(path, 200'000)), text);
    EXPECT_EQ(reason(readFileText(path, 199'999)), "it has more than 199999 bytes");
    std::remove(path.c_str());
    auto const ofTheSystem = readFileText("/proc/sys/kernel/ostype", 100); // has no size
    EXPECT_EQ(std::get<std::string>(ofTheSystem), "Linux\n");
    EXPECT_EQ(reason(readFileText(path, 1)), "No such file or directory");
    EXPECT_EQ(reason(readText(-1, 1)), "Bad file descriptor");
}
