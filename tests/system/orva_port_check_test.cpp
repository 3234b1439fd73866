// The port check: it passes on the host platform, and a platform that breaks one statement fails that case alone.
#include "system_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

struct Outcome {
    int status;
    std::string output;
};

Outcome run(const std::string &command) {
    Outcome result{-1, {}};
    FILE *stream = popen((command + " 2>&1").c_str(), "r");
    char part[4096];
    for (std::size_t count = 0; (count = fread(part, 1, sizeof part, stream)) > 0;) {
        result.output.append(part, count);
    }
    const int status = pclose(stream);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

std::vector<std::string> lines_in(const std::string &text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string library(const std::string &path) {
    return std::string("'") + ORVA_TEST_LIBRARY_DIR + "/" + path + "' ";
}

bool is_sanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

// A sanitizer opens libraries itself, so the program's own run path does not count.
const std::string kCheck = (is_sanitized() ? std::string("LD_LIBRARY_PATH='") + ORVA_TEST_LIBRARY_DIR + "' '" : "'") +
                           ORVA_TEST_BINARY_DIR + "/tools/orva-port-check' ";

std::string host_libraries() {
    return library("libsafeio.so") + library("libmiro.so") + library("libtova.so") + library("libdrv_basic.so");
}

// The cases whose line begins with the verdict.
std::set<std::string> cases_that_are(const std::string &verdict, const std::string &output) {
    std::set<std::string> names;
    for (const std::string &line : lines_in(output)) {
        if (line.starts_with(verdict + " ")) {
            const std::size_t begin = line.find_first_not_of(' ', verdict.size());
            names.insert(line.substr(begin, line.find(' ', begin) - begin));
        }
    }
    return names;
}

std::vector<std::string> all_names() {
    std::vector<std::string> names;
    for (const std::string &line : lines_in(run(kCheck + "--list").output)) {
        names.push_back(line.substr(0, line.find(' ')));
    }
    return names;
}

TEST(OrvaPortCheck, HoldsOnTheHostPlatform) {
    const Outcome without = run(kCheck);
    EXPECT_EQ(without.status, 0) << without.output;
    const Outcome with = run(kCheck + "--preload " + host_libraries());
    EXPECT_EQ(with.status, is_sanitized() ? with.status : 0) << with.output;
    EXPECT_EQ(cases_that_are("holds", without.output).size(), all_names().size());
}

TEST(OrvaPortCheck, MissingLibrariesFailTheImportsAlone) {
    if (is_sanitized()) {
        GTEST_SKIP() << "a sanitizer's library must come before all that are preloaded";
    }
    const Outcome some = run(kCheck + "--preload " + library("libsafeio.so"));
    EXPECT_EQ(some.status, 1);
    EXPECT_EQ(cases_that_are("broken", some.output), std::set<std::string>{"imports"}) << some.output;
    EXPECT_NE(some.output.find("missing: MIRO_MemPtCreateEx, "), std::string::npos);
    EXPECT_NE(some.output.find("needs TOVA_DLog"), std::string::npos);
}

// In parts, so that each ends in its time on a busy machine.
constexpr std::size_t kParts = 4;

class OrvaPortCheckPart : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Parts, OrvaPortCheckPart, testing::Range<std::size_t>(0, kParts));

TEST_P(OrvaPortCheckPart, ABrokenStatementFailsItsCaseAlone) {
    if (is_sanitized()) {
        GTEST_SKIP() << "a sanitizer's library must come before all that are preloaded";
    }
    const std::vector<std::string> names = all_names();
    for (std::size_t at = GetParam(); at < names.size(); at += kParts) {
        const std::string &name = names[at];
        if (name == "imports") {
            continue; // tried above
        }
        setenv("ORVA_CRIPPLE", name.c_str(), 1);
        const Outcome crippled =
            run(kCheck + "--patience 2 --preload " + library("libcrippled_platform.so") + host_libraries());
        EXPECT_EQ(crippled.status, 1) << name;
        EXPECT_EQ(cases_that_are("broken", crippled.output), std::set<std::string>{name}) << crippled.output;
    }
}

TEST(OrvaPortCheck, Json_SaysTheSame) {
    const Outcome one = run(kCheck + "--json --case tree-order timer-module");
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.output, R"({
  "schema": 1,
  "holds": true,
  "cases": [
    {
      "name": "timer-module",
      "statement": "MIRO_HandleInitialize never hands out 0",
      "verdict": "holds",
      "detail": ""
    },
    {
      "name": "tree-order",
      "statement": "MIRO_AVL_Next walks all items in order",
      "verdict": "holds",
      "detail": ""
    }
  ]
}
)");
}

TEST(OrvaPortCheck, WrongUseIsReported) {
    EXPECT_EQ(run(kCheck + "--case nothing").status, 2);
    EXPECT_EQ(run(kCheck + "--wrong").status, 2);
    EXPECT_EQ(run(kCheck + "--patience 31").status, 2);
    EXPECT_EQ(run(kCheck + "--preload /missing/lib.so").status, 3);
    EXPECT_EQ(run(kCheck + "--list > /dev/full").status, 3);
    EXPECT_EQ(run(kCheck + "--help").status, 0);
}

// The page on porting names every case, so that a reader finds what a failure means.
TEST(OrvaPortCheck, ThePortingPageNamesEveryCase) {
    const std::string page = orva_test::read_file(std::string(ORVA_TEST_SOURCE_DIR) + "/docs/porting.md");
    for (const std::string &name : all_names()) {
        EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
    }
}

} // namespace
