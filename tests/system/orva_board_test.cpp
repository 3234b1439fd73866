// orva-board: every fault of a description with its line and key, and an example that has none.
#include "system_support.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

struct Outcome {
    int status;
    std::string output;
};

class OrvaBoard : public testing::Test {
protected:
    Outcome run(const std::string &arguments) const {
        Outcome result{-1, {}};
        const std::string command = "cd " + scratch.path() + " && '" + ORVA_TEST_BINARY_DIR + "/tools/orva-board' ";
        FILE *stream = popen((command + arguments + " 2>&1").c_str(), "r");
        char part[4096];
        for (std::size_t count = 0; (count = fread(part, 1, sizeof part, stream)) > 0;) {
            result.output.append(part, count);
        }
        const int status = pclose(stream);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }
    Outcome check(const std::string &text) const {
        orva_test::write_file(scratch.file("b.toml"), text);
        return run("check b.toml");
    }

    orva_test::ScratchFolder scratch;
};

TEST_F(OrvaBoard, Check_ReportsEveryFaultInTheOrderOfLines) {
    const Outcome faulty = check("colour = 1\n"
                                 "[board]\n"
                                 "slot = 31\n"
                                 "type = \"x\"\n"
                                 "size = 2\n"
                                 "[[elabel]]\n"
                                 "index = -1\n"
                                 "line_end = \"cr\"\n"
                                 "lines = [\"a=b\", \"nothing\", 3]\n"
                                 "[environment]\n"
                                 "a = 1.5\n"
                                 "b = \"x\\ty\"\n");
    EXPECT_EQ(faulty.status, 1);
    EXPECT_EQ(faulty.output, "b.toml:1: colour: unknown key\n"
                             "b.toml:1: [chassis] missing\n"
                             "b.toml:3: [board] slot: must be from 0 to 30\n"
                             "b.toml:4: [board] type: expected an integer, found a string\n"
                             "b.toml:5: [board] size: unknown key\n"
                             "b.toml:7: [elabel] index: must be from 0 to 4294967295\n"
                             "b.toml:8: [elabel] line_end: must be \"lf\" or \"crlf\"\n"
                             "b.toml:9: [elabel] lines: must be key=value\n"
                             "b.toml:9: [elabel] lines: expected a string, found an integer\n"
                             "b.toml:11: [environment] a: expected a string or an integer, found a floating-point "
                             "number\n"
                             "b.toml:12: [environment] b: holds a control character\n"
                             "11 faults in 1 of 1 files\n");
}

TEST_F(OrvaBoard, Check_ReportsAFaultOfTheSyntaxWithItsLine) {
    const Outcome faulty = check("[board]\nslot = = 1\n");
    EXPECT_EQ(faulty.status, 1);
    EXPECT_EQ(faulty.output.find("b.toml:2: slot: "), 0u) << faulty.output;
}

TEST_F(OrvaBoard, Check_TakesAByteOrderMarkAndCommentsInAnyScript) {
    const std::string good =
        "[board] # Steckplatz f\xC3\xBCr \xE6\x9D\xBF \xFF\nslot = 1\ntype = 0x18010\n[chassis]\n"
        "type = 1\n[environment]\na = \"no # comment\" # \"\xC3\xA9\n";
    const Outcome marked = check("\xEF\xBB\xBF" + good);
    EXPECT_EQ(marked.status, 0) << marked.output;
    EXPECT_EQ(marked.output, "b.toml: ok\n");
    const Outcome text = check(good + "b = \"# \xC3\xA9\"\n");
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.output, "b.toml:8: b: a byte outside ASCII; a text holds such a character as an escape\n");
}

TEST_F(OrvaBoard, Example_IsADescriptionWithoutAFault) {
    const Outcome example = run("example");
    EXPECT_EQ(example.status, 0);
    EXPECT_EQ(check(example.output).output, "b.toml: ok\n");
}

TEST_F(OrvaBoard, FilesThatCannotBeReadAndWrongUseAreReported) {
    const Outcome missing = run("check missing.toml");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output, "missing.toml: cannot be read: No such file or directory\n");
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run("check").status, 2);
    EXPECT_EQ(run("example > /dev/full").status, 3);
}

} // namespace
