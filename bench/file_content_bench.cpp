// ORVA_FUNC_GetFileContent against opening the file, asking for its size and reading into a buffer of that size from
// the same memory partition. The library resolves the path, reads through a stream and clears the buffer first; the
// peer does none of this.
#include "host_partition.h"
#include "orva_comm.h"
#include "orva_util.h"
#include "ratio_report.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using orva_bench::give_up;

constexpr char kCaller[] = "bench/file_content_bench";

// A folder with one file per size, removed at the end.
class Files {
public:
    Files() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orva_bench_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(1);
        }
        folder_ = pattern;
    }
    ~Files() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Files(const Files &) = delete;
    Files &operator=(const Files &) = delete;

    std::string make(std::size_t size) const {
        const std::string path = folder_ + "/" + std::to_string(size);
        std::ofstream(path, std::ios::binary) << std::string(size, 'c');
        return path;
    }

private:
    std::string folder_;
};

void release(char *content) {
    benchmark::DoNotOptimize(content);
    orva_bench::release(content, kCaller);
}

void ours(const std::string &path, std::uint64_t times) {
    for (; times > 0; --times) {
        char *content = nullptr;
        std::uint32_t length = 0;
        if (ORVA_FUNC_GetFileContent(path.c_str(), &content, &length) != ORVA_OK) {
            give_up("ORVA_FUNC_GetFileContent");
        }
        release(content);
    }
}

char *read_sized(const char *path) {
    const int fd = open(path, O_RDONLY);
    struct stat status;
    if (fd < 0 || fstat(fd, &status) != 0) {
        give_up("open");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    auto *const content = static_cast<char *>(orva_bench::allocate(size + 1, kCaller));
    if (read(fd, content, size) != status.st_size) {
        give_up("read");
    }
    content[size] = '\0';
    close(fd);
    return content;
}

void peer(const std::string &path, std::uint64_t times) {
    for (; times > 0; --times) {
        release(read_sized(path.c_str()));
    }
}

} // namespace

int main(int argc, char **argv) {
    orva_bench::start_partition();
    const Files files;
    orva_bench::RatioReport report;
    for (const std::size_t size : {std::size_t{64}, std::size_t{4096}, std::size_t{65536}, std::size_t{1} << 20}) {
        const std::string path = files.make(size);
        report.add(
            "file content, " + std::to_string(size) + " bytes", "read",
            [path](std::uint64_t times) { ours(path, times); }, [path](std::uint64_t times) { peer(path, times); });
    }
    return report.run(argc, argv);
}
