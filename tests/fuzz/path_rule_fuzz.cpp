// Rules over paths: characters that a shell would act on, links, the name at a path's end, the folders that are made.
// Input: size of the buffer, the path.
#include <cerrno>
#include <sys/stat.h>

#include "fuzz_input.h"
#include "orva_file.h"
#include "platform_double.h"

namespace {

void check_characters(const std::string &path, bool isLink) {
    const auto copy = fuzz::exact_copy(path);
    const bool isUnsafe = path.find_first_of("|;&$<>()[]`\\\"'~?*!\n") != std::string::npos;
    REQUIRE(ORVA_IsCmdStrParaHasInvalidChar(copy.get()) == (isUnsafe ? 1u : 0u));
    orva_test::libc().lstat = [isLink](const char *, struct stat *status) {
        status->st_mode = isLink ? S_IFLNK : S_IFREG;
        return 0;
    };
    REQUIRE(ORVA_IsValidDirFile(copy.get()) == (isUnsafe || isLink ? 0u : 1u));
}

void check_name(const std::string &path, std::uint32_t size) {
    const std::unique_ptr<char[]> buffer(new char[std::max<std::size_t>(size, path.size() + 1)]);
    std::memcpy(buffer.get(), path.c_str(), path.size() + 1);
    const std::uint32_t result = ORVA_GetFileName(buffer.get(), size);
    const std::size_t slash = path.rfind('/');
    if (size > ORVA_FILE_NAME_BUFFER_MAX) {
        REQUIRE(result == ORVA_FAILED && buffer.get() == path);
    } else if (path.size() >= ORVA_FILE_NAME_BUFFER_MAX) {
        REQUIRE(result == ORVA_ERR_FILE_NAME_PATH && buffer.get() == path);
    } else if (slash == std::string::npos) {
        REQUIRE(result == ORVA_OK && buffer.get() == path);
    } else if (path.size() - slash - 1 < size) {
        REQUIRE(result == ORVA_OK && buffer.get() == path.substr(slash + 1));
    } else {
        REQUIRE(result == ORVA_ERR_FILE_NAME_COPY);
    }
}

// Every folder that is made is a prefix of the path that ends at a separator or at its end, shortest first.
void check_folders(const std::string &path) {
    const auto copy = fuzz::exact_copy(path);
    std::vector<std::string> made;
    orva_test::libc().mkdir = [&](const char *folder, mode_t) {
        made.emplace_back(folder);
        errno = EEXIST;
        return made.size() % 2 == 0 ? 0 : -1;
    };
    const std::uint32_t result = ORVA_MkDir(copy.get(), 0750);
    REQUIRE(copy.get() == path);
    std::vector<std::string> expected;
    if (!path.empty() && path[0] == '/' && path.size() < ORVA_MKDIR_PATH_LIMIT) {
        REQUIRE(result == ORVA_OK);
        for (std::size_t i = 1; i <= path.size(); ++i) {
            if (i == path.size() || path[i] == '/') {
                expected.push_back(path.substr(0, i));
            }
        }
    } else {
        REQUIRE(result != ORVA_OK);
    }
    REQUIRE(made == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    orva_test::reset_platform();
    const std::uint8_t choice = front.byte();
    const std::uint32_t bufferSize = 1u + front.byte() + (choice & 2);
    const std::string path = front.rest_text();
    check_characters(path, (choice & 1) != 0);
    check_name(path, bufferSize);
    check_folders(path);
    check_folders("/" + path);
    orva_test::reset_platform(); // what follows a run opens files of its own
    return 0;
}
