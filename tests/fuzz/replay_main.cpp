// Replays a corpus through a fuzz target without libFuzzer: every file, every truncation of small ones, and a fixed
// sequence of mutations of each. With ORVA_TEST_SHORT, for an emulator, every file and little of the rest.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

constexpr std::size_t kTruncatedBelow = 600;

const bool kIsShort = std::getenv("ORVA_TEST_SHORT") != nullptr;
const std::size_t kTruncatedBy = kIsShort ? 64 : 1;
const unsigned kMutations = kIsShort ? 10 : 300;

void run(const Input &input) {
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

unsigned replay(const Input &input, std::mt19937 &random) {
    run(input);
    unsigned runs = 1;
    for (std::size_t size = 0; size < input.size() && input.size() < kTruncatedBelow; size += kTruncatedBy, ++runs) {
        run(Input(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    for (unsigned i = 0; i < kMutations && !input.empty(); ++i, ++runs) {
        Input mutated = input;
        for (unsigned change = random() % 4 + 1; change > 0; --change) {
            mutated[random() % mutated.size()] = static_cast<uint8_t>(random());
        }
        run(mutated);
    }
    return runs;
}

Input read(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace

int main(int argc, char **argv) {
    std::mt19937 random(20260101);
    unsigned runs = replay({}, random);
    for (unsigned i = 0; i < 64; ++i) {
        Input input(random() % 512);
        for (uint8_t &byte : input) {
            byte = static_cast<uint8_t>(random());
        }
        runs += replay(input, random);
    }
    unsigned files = 0;
    if (argc > 1 && std::filesystem::is_directory(argv[1])) {
        for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
            runs += replay(read(entry.path()), random);
            ++files;
        }
    }
    std::printf("%u corpus files, %u runs\n", files, runs);
    return 0;
}
