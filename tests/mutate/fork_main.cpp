// Runs every test of a program in a process of its own, one after the other, and stops at the first that fails: the
// runner that mutate.py links in place of gtest_main. A test that uses processor time without end is ended and has
// failed; mutate.py ends one that sleeps without end.
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr rlimit kProcessorSeconds = {2, 2};

std::vector<std::string> names_of_tests() {
    std::vector<std::string> names;
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite &suite = *all.GetTestSuite(i);
        for (int k = 0; k < suite.total_test_count(); ++k) {
            names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(k)->name());
        }
    }
    return names;
}

bool passes(const std::string &name) {
    const pid_t child = fork();
    if (child == 0) {
        setrlimit(RLIMIT_CPU, &kProcessorSeconds);
        testing::GTEST_FLAG(filter) = name;
        std::exit(RUN_ALL_TESTS());
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    for (const std::string &name : names_of_tests()) {
        if (!passes(name)) {
            std::fprintf(stderr, "failed: %s\n", name.c_str());
            return 1;
        }
    }
    return 0;
}
