// Archives: whatever the bytes, unpacking answers, ends within the host's limits and leaves everything outside the
// destination as it was.
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz_input.h"
#include "miro.h"
#include "miro/miro_host.h"

namespace {

namespace fs = std::filesystem;

// A folder with a destination and a file beside it, in memory where the system has such a place.
struct Place {
    fs::path root;
    Place() {
        const char *const base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::string pattern = std::string(base) + "/orva_archive_fuzz_XXXXXX";
        root = mkdtemp(pattern.data());
        std::ofstream(root / "beside") << "kept";
    }
    ~Place() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;
    fs::path destination() const {
        return root / "in";
    }
};

void expect_nothing_outside(const Place &place) {
    std::size_t entries = 0;
    for (const auto &entry : fs::directory_iterator(place.root)) {
        REQUIRE(entry.path().filename() == "in" || entry.path().filename() == "beside");
        ++entries;
    }
    REQUIRE(entries == 2);
    std::string kept;
    std::ifstream(place.root / "beside") >> kept;
    REQUIRE(kept == "kept");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Place place;
    MIRO_HostSetReporter([](const char *, void *) {}, nullptr);
    fs::create_directory(place.destination());
    const int archive = memfd_create("archive", 0);
    REQUIRE(archive >= 0 && write(archive, data, size) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(archive);
    MIRO_Unzip(path.c_str(), place.destination().c_str(), 0);
    close(archive);
    expect_nothing_outside(place);
    std::error_code ignored;
    fs::remove_all(place.destination(), ignored);
    return 0;
}
