// Loading a file: all of it or nothing.
#include <filesystem>
#include <unistd.h>

#include "host_fixture.h"
#include "platform/csman.h"

namespace dashboard {
namespace {

class CsmanctlLoad : public host_test {
protected:
    // Loads `text` as a file; the tool's messages then begin with this path.
    tool_result load(const std::string& text) {
        write_file(settings_path, text);
        return tool({"load", settings_path});
    }

    void expect_refused(const std::string& text, const std::string& why) {
        const tool_result result = load(text);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors,
                  "csmanctl: " + settings_path + why + "\ncsmanctl: " + settings_path + ": nothing was changed\n");
        EXPECT_TRUE(names_in(store_dir).empty()) << text;
    }

    std::string settings_path = root + "/settings";
};

TEST_F(CsmanctlLoad, FileIsLoaded) {
    const tool_result result = load("# the first WAN\n"
                                    "dashboard.enable 1\n"
                                    "\n"
                                    "  wan.binding.1 \t 1  \r\n"
                                    "wan.name.1 my own name\n"
                                    "wan.name.2 \" quoted \\x41\\n\"\n"
                                    "0x123 -7\n"
                                    "0x124 \"any\"\n"
                                    "wan.enable 0x1");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(tool({"list"}).output, "dashboard.enable 1\n"
                                     "wan.enable 1\n"
                                     "wan.binding.1 1\n"
                                     "wan.name.1 \"my own name\"\n"
                                     "wan.name.2 \" quoted A\\n\"\n"
                                     "0x00000123 -7\n"
                                     "0x00000124 \"any\"\n");
}

TEST_F(CsmanctlLoad, StandardInputIsLoaded) {
    EXPECT_EQ(tool({"load", "-"}, "wan.enable 1\n").status, 0);
    EXPECT_EQ(tool({"get", "wan.enable"}).output, "1\n");
    const tool_result wrong = tool({"load", "-"}, "wan.enable 2\nnonsense 1\n");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.errors, "csmanctl: -:2: unknown item 'nonsense'\ncsmanctl: -: nothing was changed\n");
    EXPECT_EQ(tool({"get", "wan.enable"}).output, "1\n");
}

TEST_F(CsmanctlLoad, EmptyFileChangesNothing) {
    EXPECT_EQ(load("").status, 0);
    EXPECT_EQ(load("\n# only words\n").status, 0);
    EXPECT_TRUE(names_in(store_dir).empty());
}

TEST_F(CsmanctlLoad, ListIsLoadedBackAsItWas) {
    ASSERT_EQ(tool({"set-string", "0x200", "\"q\\\n\t\x01\xc3\xa4 "}).status, 0);
    ASSERT_EQ(tool({"set-string", "wan.name.1", ""}).status, 0);
    ASSERT_EQ(tool({"set-string", "wan.name.2", " 12 "}).status, 0);
    ASSERT_EQ(tool({"set-string", "0x201", std::string(1023, 'x')}).status, 0);
    ASSERT_EQ(tool({"set", "sim1.sinr", "-2147483648"}).status, 0);
    const std::string listed = tool({"list", "--all"}).output;
    std::filesystem::remove_all(store_dir);
    EXPECT_EQ(load(listed).status, 0);
    EXPECT_EQ(tool({"list", "--all"}).output, listed);
    EXPECT_EQ(read_file(store_file("0x00000200")), "string \"q\\\n\t\x01\xc3\xa4 \n");
    EXPECT_EQ(read_file(store_file("0x80010191")), "string  12 \n");
}

TEST_F(CsmanctlLoad, OneWrongLineStopsEverything) {
    expect_refused("wan.enable 1\nwan.enabel 1\n", ":2: unknown item 'wan.enabel'");
    expect_refused("wan.enable 1\nwan.view\n", ":2: wan.view: the value is missing (an empty text is \"\")");
    expect_refused("wan.enable on\n", ":1: wan.enable: 'on' is not a number from -2147483648 to 2147483647");
    expect_refused("wan.enable 1 # yes\n", ":1: wan.enable: '1 # yes' is not a number from -2147483648 to 2147483647");
    expect_refused("wan.enable \"1\"\n", ":1: wan.enable: it holds a number, not a text");
    expect_refused("wan.name.1 \"eth0\n", ":1: wan.name.1: the quoted text is wrong: \"eth0");
    expect_refused("0x123 eth0\n", ":1: 0x123: 'eth0' is not a number from -2147483648 to 2147483647; a text is set "
                                   "with set-string, or quoted in a file");
    expect_refused("wan.name.1 " + std::string(1024, 'x') + "\n",
                   ":1: wan.name.1: a text has at most 1023 bytes, and no NUL");
    expect_refused("wan.name.1 a" + std::string(1, '\0') + "b\n",
                   ":1: wan.name.1: a text has at most 1023 bytes, and no NUL");
    expect_refused("wan.enable 1\n\n0x150785 1\n", ":3: 0x150785 is given twice, in line 1 too");
}

TEST_F(CsmanctlLoad, EveryWrongLineIsTold) {
    expect_refused("a 1\nwan.enable 1\nb 2\n",
                   ":1: unknown item 'a'\ncsmanctl: " + settings_path + ":3: unknown item 'b'");
}

TEST_F(CsmanctlLoad, FileThatCannotBeReadIsReported) {
    const tool_result missing = tool({"load", root + "/missing"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "csmanctl: can't open " + root + "/missing: No such file or directory\n");
    const tool_result directory = tool({"load", root});
    EXPECT_EQ(directory.status, 1);
    EXPECT_EQ(directory.errors,
              "csmanctl: can't read " + root + ": Is a directory\ncsmanctl: " + root + ": nothing was changed\n");
}

TEST_F(CsmanctlLoad, WhatWasWrittenBeforeAFailureIsPutBack) {
    ASSERT_EQ(write_csman_int(open_store(), 0x150783, 5), 0);
    // An item that can't be replaced, even by root.
    std::filesystem::create_directory(store_file("0x00150785"));
    const tool_result result = load("cpu.enable 1\nmem.enable 1\nwan.enable 1\nlan.enable 1\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "csmanctl: wan.enable: Is a directory; nothing was changed\n");
    EXPECT_EQ(read_file(store_file("0x00150783")), "int 5\n");
    EXPECT_EQ(names_in(store_dir), (std::vector<std::string>{"0x00150783", "0x00150785"}));
}

} // namespace
} // namespace dashboard
