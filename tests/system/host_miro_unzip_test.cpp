// The host platform's unzip, on archives that are written here byte by byte.
#include "miro.h"
#include "miro_host.h"
#include "system_support.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::uint32_t crc32_of(const std::string &bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
        }
    }
    return ~crc;
}

std::string little(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return text;
}

struct Entry {
    std::string name;
    std::string content;
    mode_t mode = S_IFREG | 0644;
    bool deflated = false;
    bool wrong_checksum = false;
    unsigned flags = 0x0800; // names in UTF-8
};

Entry folder(const std::string &name) {
    return {.name = name + "/", .content = "", .mode = S_IFDIR | 0755};
}

Entry link_to(const std::string &name, const std::string &target) {
    return {.name = name, .content = target, .mode = S_IFLNK | 0777};
}

// One uncompressed block of the deflate format.
std::string deflate(const std::string &content) {
    return '\x01' + little(content.size(), 2) + little(~content.size(), 2) + content;
}

// What the local header and the central directory have in common.
std::string common_header(const Entry &entry, const std::string &stored) {
    const std::uint32_t crc = crc32_of(entry.content) ^ (entry.wrong_checksum ? 1u : 0u);
    // 2024-03-05 07:08:10
    return little(20, 2) + little(entry.flags, 2) + little(entry.deflated ? 8 : 0, 2) +
           little(7 << 11 | 8 << 5 | 10 / 2, 2) + little((2024 - 1980) << 9 | 3 << 5 | 5, 2) + little(crc, 4) +
           little(stored.size(), 4) + little(entry.content.size(), 4) + little(entry.name.size(), 2) + little(0, 2);
}

std::string zip_of(const std::vector<Entry> &entries) {
    std::string files;
    std::string directory;
    for (const Entry &entry : entries) {
        const std::string stored = entry.deflated ? deflate(entry.content) : entry.content;
        const std::string common = common_header(entry, stored);
        const std::size_t offset = files.size();
        files += "PK\x03\x04" + common + entry.name + stored;
        // Made on a Unix system, so that the upper half of the external attributes is the mode.
        directory += "PK\x01\x02" + little(3 << 8 | 20, 2) + common + little(0, 2) + little(0, 2) + little(0, 2) +
                     little(std::uint64_t{entry.mode} << 16, 4) + little(offset, 4) + entry.name;
    }
    return files + directory + "PK\x05\x06" + little(0, 4) + little(entries.size(), 2) + little(entries.size(), 2) +
           little(directory.size(), 4) + little(files.size(), 4) + little(0, 2);
}

class HostMiroUnzip : public testing::Test {
protected:
    HostMiroUnzip() {
        MIRO_HostSetReporter(
            [](const char *line, void *context) { static_cast<HostMiroUnzip *>(context)->lines.push_back(line); },
            this);
    }
    ~HostMiroUnzip() override {
        MIRO_HostSetReporter(nullptr, nullptr);
    }
    std::uint32_t unzip_bytes(const std::string &bytes) {
        orva_test::write_file(zip, bytes);
        return MIRO_Unzip(zip.c_str(), out.c_str(), 0);
    }
    std::uint32_t unzip(const std::vector<Entry> &entries) {
        return unzip_bytes(zip_of(entries));
    }
    std::string content(const std::string &name) const {
        return orva_test::read_file(out + "/" + name);
    }
    bool exists(const std::string &path) const {
        return std::filesystem::exists(std::filesystem::symlink_status(path));
    }

    orva_test::ScratchFolder scratch;
    std::string zip = scratch.file("a.zip");
    std::string out = scratch.file("out");
    std::vector<std::string> lines;
};

TEST_F(HostMiroUnzip, Unzip_UnpacksFilesAndFolders) {
    const std::string large(200000, 'x');
    ASSERT_EQ(unzip({folder("sub"),
                     {.name = "sub/a.txt", .content = "hello"},
                     {.name = "b", .content = large},
                     {.name = "deep/er/c", .content = "packed", .deflated = true},
                     {.name = "empty", .content = ""},
                     folder("none")}),
              MIRO_HOST_OK);
    EXPECT_EQ(content("sub/a.txt"), "hello");
    EXPECT_EQ(content("b"), large);
    EXPECT_EQ(content("deep/er/c"), "packed");
    EXPECT_TRUE(exists(out + "/empty"));
    EXPECT_TRUE(std::filesystem::is_directory(out + "/none"));
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostMiroUnzip, Unzip_OfAnArchiveWithoutEntriesMakesTheFolderAlone) {
    EXPECT_EQ(unzip({}), MIRO_HOST_OK);
    EXPECT_TRUE(std::filesystem::is_empty(out));
    const std::string comment = "made by nobody";
    EXPECT_EQ(unzip_bytes("PK\x05\x06" + std::string(16, '\0') + little(comment.size(), 2) + comment), MIRO_HOST_OK);
    EXPECT_EQ(unzip_bytes("PK\x05\x06" + std::string(17, '\0')), MIRO_HOST_ERR_ARCHIVE) << "one byte is missing";
    EXPECT_EQ(unzip_bytes(zip_of({}) + "x"), MIRO_HOST_ERR_ARCHIVE) << "one byte too many";
}

// The start record with one limit set. The settings stay for the process, which has this one case.
void set_limits(std::uint64_t bytes, std::uint32_t entries, std::uint32_t ratio, std::uint32_t depth) {
    MIRO_HOST_CONFIG config{};
    config.unzipMaxBytes = bytes;
    config.unzipMaxEntries = entries;
    config.unzipMaxRatio = ratio;
    config.unzipMaxDepth = depth;
    std::uint32_t handle = 0;
    ASSERT_EQ(MIRO_HostStart(&config, &handle), MIRO_HOST_OK);
}

TEST_F(HostMiroUnzip, Limits_OnSizeAreForAllEntriesTogether) {
    set_limits(1000, 0, 0, 0);
    EXPECT_EQ(
        unzip({{.name = "a", .content = std::string(500, 'a')}, {.name = "b", .content = std::string(500, 'b')}}),
        MIRO_HOST_OK);
    std::filesystem::remove_all(out);
    EXPECT_EQ(
        unzip({{.name = "a", .content = std::string(500, 'a')}, {.name = "b", .content = std::string(501, 'b')}}),
        MIRO_HOST_ERR_LIMIT);
    EXPECT_FALSE(exists(out)) << "nothing is written";
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with("b: more than 1000 bytes in all")) << lines[0];
}

TEST_F(HostMiroUnzip, Limits_HoldAlsoWhereTheArchiveLiesAboutItsSize) {
    set_limits(1000, 0, 0, 0);
    std::string bytes = zip_of({{.name = "a", .content = std::string(5000, 'a'), .deflated = true}});
    // The uncompressed size in the local header and in the directory.
    const std::string size = little(5000, 4);
    for (std::size_t at = bytes.find(size); at != std::string::npos; at = bytes.find(size, at + 4)) {
        bytes.replace(at, 4, little(10, 4));
    }
    const std::uint32_t code = unzip_bytes(bytes);
    EXPECT_TRUE(code == MIRO_HOST_ERR_LIMIT || code == MIRO_HOST_ERR_ARCHIVE) << code;
    EXPECT_FALSE(exists(out + "/a"));
}

TEST_F(HostMiroUnzip, Limits_OnEntriesAndDepth) {
    set_limits(0, 3, 0, 2);
    EXPECT_EQ(unzip({{.name = "a", .content = ""}, {.name = "b/c", .content = ""}, folder("d")}), MIRO_HOST_OK);
    EXPECT_EQ(unzip({{.name = "a", .content = ""},
                     {.name = "b", .content = ""},
                     {.name = "c", .content = ""},
                     {.name = "d", .content = ""}}),
              MIRO_HOST_ERR_LIMIT);
    EXPECT_EQ(unzip({{.name = "a/b/c", .content = ""}}), MIRO_HOST_ERR_LIMIT);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].ends_with("d: more than 3 entries")) << lines[0];
    EXPECT_TRUE(lines[1].ends_with("a/b/c: more than 2 parts in a name")) << lines[1];
}

// 64 MiB of zeros in one deflated entry, a thousand of them to a byte.
std::string bomb_of_zeros() {
    return orva_test::read_file(ORVA_TEST_SOURCE_DIR "/tests/system/data/zeros.zip");
}

TEST_F(HostMiroUnzip, Limits_OnTheRatioStopABombBeforeItIsWritten) {
    const std::string bomb = bomb_of_zeros();
    ASSERT_LT(bomb.size(), 100'000u);
    EXPECT_EQ(unzip_bytes(bomb), MIRO_HOST_ERR_LIMIT);
    EXPECT_FALSE(exists(out));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with("zeros: more than 200 bytes for each byte of the archive")) << lines[0];
    set_limits(0, 0, 2000, 0);
    EXPECT_EQ(unzip_bytes(bomb), MIRO_HOST_OK);
    EXPECT_EQ(std::filesystem::file_size(out + "/zeros"), 64u * 1024 * 1024);
}

TEST_F(HostMiroUnzip, Unzip_RefusesMethodsThatAskForMemory) {
    for (const int method : {6, 9, 12, 14, 95, 98}) {
        std::string bytes = zip_of({{.name = "a", .content = "text", .deflated = true}});
        bytes.replace(8, 2, little(static_cast<unsigned>(method), 2));
        const std::size_t directory = bytes.find("PK\x01\x02");
        bytes.replace(directory + 10, 2, little(static_cast<unsigned>(method), 2));
        EXPECT_EQ(unzip_bytes(bytes), MIRO_HOST_ERR_ARCHIVE) << method;
        EXPECT_FALSE(exists(out));
    }
}

TEST_F(HostMiroUnzip, Unzip_MakesMissingFoldersOfTheDestination) {
    out = scratch.file("x/y/z");
    EXPECT_EQ(unzip({{.name = "a", .content = "1"}}), MIRO_HOST_OK);
    EXPECT_EQ(content("a"), "1");
}

TEST_F(HostMiroUnzip, Unzip_ReplacesFilesAndKeepsOthers) {
    std::filesystem::create_directory(out);
    orva_test::write_file(out + "/a", "old and longer");
    orva_test::write_file(out + "/other", "kept");
    EXPECT_EQ(unzip({{.name = "a", .content = "new"}}), MIRO_HOST_OK);
    EXPECT_EQ(content("a"), "new");
    EXPECT_EQ(content("other"), "kept");
}

TEST_F(HostMiroUnzip, Unzip_NormalisesHarmlessNames) {
    EXPECT_EQ(unzip({folder("."), {.name = "./a//b/./c", .content = "1"}, {.name = "..dots/...", .content = "2"}}),
              MIRO_HOST_OK);
    EXPECT_EQ(content("a/b/c"), "1");
    EXPECT_EQ(content("..dots/..."), "2");
}

TEST_F(HostMiroUnzip, Unzip_KeepsNamesInUtf8WhateverTheLocale) {
    EXPECT_EQ(unzip({{.name = "Gr\xC3\xB6\xC3\x9F"
                              "e \xE6\xBC\xA2",
                      .content = "1"},
                     {.name = "latin-\xE4", .content = "2", .flags = 0}}),
              MIRO_HOST_OK);
    EXPECT_EQ(content("Gr\xC3\xB6\xC3\x9F"
                      "e \xE6\xBC\xA2"),
              "1");
    EXPECT_EQ(content("latin-\xE4"), "2");
}

TEST_F(HostMiroUnzip, Unzip_AppliesTheModeMaskAndDropsSpecialBits) {
    const mode_t before = umask(027);
    EXPECT_EQ(unzip({{.name = "tool", .content = "1", .mode = S_IFREG | 07777}}), MIRO_HOST_OK);
    EXPECT_EQ(umask(before), 027u);
    struct stat status {};
    ASSERT_EQ(stat((out + "/tool").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0750u);
}

TEST_F(HostMiroUnzip, Unzip_MakesLinksThatStayInside) {
    ASSERT_EQ(unzip({{.name = "d/e/file", .content = "1"},
                     link_to("d/e/near", "file"),
                     link_to("d/up", "../top"),
                     link_to("d/e/root", "../.."),
                     {.name = "top", .content = "2"}}),
              MIRO_HOST_OK);
    EXPECT_EQ(content("d/e/near"), "1");
    EXPECT_EQ(content("d/up"), "2");
    EXPECT_EQ(std::filesystem::read_symlink(out + "/d/e/root"), "../..");
}

TEST_F(HostMiroUnzip, Unzip_NeverMakesPipesOrDevices) {
    for (const mode_t type : {mode_t{S_IFIFO}, mode_t{S_IFCHR}, mode_t{S_IFBLK}, mode_t{S_IFSOCK}}) {
        const std::uint32_t code = unzip({{.name = "p", .content = "", .mode = type | 0644}});
        EXPECT_TRUE(code == MIRO_HOST_OK ? std::filesystem::is_regular_file(out + "/p") : !exists(out + "/p"));
        std::filesystem::remove_all(out);
    }
}

struct Refusal {
    const char *name;
    std::vector<Entry> entries;
    const char *why;
};

TEST_F(HostMiroUnzip, Unzip_RefusesWhatLeavesTheDestinationAndWritesNothing) {
    const Entry harmless{.name = "harmless", .content = "1"};
    const Refusal cases[] = {
        {"absolute", {harmless, {.name = "/tmp/orva_evil", .content = "1"}}, "the name leaves the destination"},
        {"absolute, two slashes",
         {harmless, {.name = "//tmp/orva_evil", .content = "1"}},
         "the name leaves the destination"},
        {"parent", {harmless, {.name = "../evil", .content = "1"}}, "the name leaves the destination"},
        {"parent after a folder",
         {harmless, {.name = "a/../../evil", .content = "1"}},
         "the name leaves the destination"},
        {"parent that stays inside",
         {harmless, {.name = "a/../b", .content = "1"}},
         "the name leaves the destination"},
        {"parent at the end", {harmless, {.name = "a/..", .content = "1"}}, "the name leaves the destination"},
        {"absolute link", {harmless, link_to("l", "/etc/passwd")}, "the link leaves the destination"},
        {"link to the parent", {harmless, link_to("l", "..")}, "the link leaves the destination"},
        {"link one too high", {harmless, link_to("a/l", "../../x")}, "the link leaves the destination"},
        {"link down and up", {harmless, link_to("a/l", "b/../../x")}, "the link leaves the destination"},
        {"link up after a name", {harmless, link_to("a/l", "b/../x")}, "the link leaves the destination"},
        {"link without target", {harmless, link_to("l", "")}, "the link leaves the destination"},
        {"through a link before",
         {harmless, link_to("l", "d"), {.name = "l/x", .content = "1"}},
         "the name leads through a link of the archive"},
        {"through a link that follows",
         {{.name = "l/x", .content = "1"}, link_to("l", "d")},
         "the name leads through a link of the archive"},
        {"no name", {harmless, {.name = ".", .content = "1"}}, "no name for a file"},
        {"device",
         {harmless, {.name = "p", .content = "", .mode = S_IFCHR | 0644}},
         "neither a file nor a folder nor a link"},
        {"long name", {harmless, {.name = std::string(5000, 'n'), .content = "1"}}, "the name is too long"},
    };
    for (const Refusal &c : cases) {
        SCOPED_TRACE(c.name);
        lines.clear();
        EXPECT_EQ(unzip(c.entries), MIRO_HOST_ERR_ENTRY_REFUSED);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_NE(lines[0].find(c.why), std::string::npos) << lines[0];
        EXPECT_FALSE(exists(out));
        EXPECT_FALSE(exists(scratch.file("evil")));
        EXPECT_FALSE(exists("/tmp/orva_evil"));
    }
}

TEST_F(HostMiroUnzip, Unzip_NeverWritesThroughALinkThatIsThereAlready) {
    const std::string outside = scratch.file("outside");
    std::filesystem::create_directory(outside);
    std::filesystem::create_directory(out);
    std::filesystem::create_directory_symlink(outside, out + "/l");
    orva_test::write_file(outside + "/target", "safe");
    std::filesystem::create_symlink(outside + "/target", out + "/f");
    EXPECT_EQ(unzip({{.name = "l/x", .content = "1"}}), MIRO_HOST_ERR_WRITE);
    EXPECT_FALSE(exists(outside + "/x"));
    EXPECT_EQ(unzip({{.name = "f", .content = "new"}}), MIRO_HOST_OK);
    EXPECT_EQ(content("f"), "new");
    EXPECT_FALSE(std::filesystem::is_symlink(out + "/f"));
    EXPECT_EQ(orva_test::read_file(outside + "/target"), "safe");
}

TEST_F(HostMiroUnzip, Unzip_TakesADestinationThatIsALink) {
    std::filesystem::create_directory(scratch.file("real"));
    std::filesystem::create_directory_symlink(scratch.file("real"), out);
    EXPECT_EQ(unzip({{.name = "a/b", .content = "1"}}), MIRO_HOST_OK);
    EXPECT_EQ(orva_test::read_file(scratch.file("real/a/b")), "1");
}

TEST_F(HostMiroUnzip, Unzip_OfADamagedFileRemovesItAndKeepsThoseBefore) {
    for (const bool deflated : {false, true}) {
        EXPECT_EQ(unzip({{.name = "first", .content = "1"},
                         {.name = "bad", .content = "payload", .deflated = deflated, .wrong_checksum = true},
                         {.name = "after", .content = "2"}}),
                  MIRO_HOST_ERR_ARCHIVE);
        EXPECT_EQ(content("first"), "1");
        EXPECT_FALSE(exists(out + "/bad"));
        EXPECT_FALSE(exists(out + "/after"));
    }
    EXPECT_EQ(lines.size(), 2u);
}

TEST_F(HostMiroUnzip, Unzip_RefusesEveryTruncationBeforeItWrites) {
    const std::string whole = zip_of({{.name = "a", .content = "0123456789"}, {.name = "b", .content = "x"}});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(unzip_bytes(whole.substr(0, length)), MIRO_HOST_ERR_ARCHIVE) << length;
        EXPECT_FALSE(exists(out)) << length;
    }
}

TEST_F(HostMiroUnzip, Unzip_SurvivesEveryDamagedByte) {
    const std::string whole = zip_of({{.name = "a", .content = "0123456789", .deflated = true}, link_to("l", "a")});
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0xFF);
        unzip_bytes(damaged);
        // Whatever came of it, it is below the destination.
        for (const auto &found : std::filesystem::directory_iterator(scratch.path())) {
            EXPECT_TRUE(found.path() == zip || found.path() == out) << found.path();
        }
        std::filesystem::remove_all(out);
    }
}

TEST_F(HostMiroUnzip, Unzip_RefusesAnEncryptedFile) {
    EXPECT_EQ(unzip({{.name = "secret", .content = "0123456789abcdef", .flags = 0x0801}}), MIRO_HOST_ERR_ARCHIVE);
    EXPECT_FALSE(exists(out + "/secret"));
}

TEST_F(HostMiroUnzip, Unzip_RefusesWhatIsNotAnArchive) {
    EXPECT_EQ(unzip_bytes("this is no zip archive, only text"), MIRO_HOST_ERR_ARCHIVE);
    EXPECT_EQ(MIRO_Unzip(scratch.file("missing.zip").c_str(), out.c_str(), 0), MIRO_HOST_ERR_ARCHIVE);
    EXPECT_EQ(MIRO_Unzip(scratch.path().c_str(), out.c_str(), 0), MIRO_HOST_ERR_ARCHIVE);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("unzip of \"" + zip + "\" to \"" + out + "\": not readable: ", 0), 0u) << lines[0];
    EXPECT_FALSE(exists(out));
}

TEST_F(HostMiroUnzip, Unzip_RefusesADestinationThatIsAFile) {
    orva_test::write_file(out, "file");
    EXPECT_EQ(unzip({{.name = "a", .content = "1"}}), MIRO_HOST_ERR_WRITE);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("no such folder"), std::string::npos) << lines[0];
    EXPECT_EQ(orva_test::read_file(out), "file");
}

TEST_F(HostMiroUnzip, Unzip_ReportsAFileThatCannotBeWritten) {
    std::filesystem::create_directories(out + "/a/inside");
    EXPECT_EQ(unzip({{.name = "a", .content = "1"}}), MIRO_HOST_ERR_WRITE);
    EXPECT_TRUE(exists(out + "/a/inside"));
    ASSERT_EQ(lines.size(), 1u);
}

TEST_F(HostMiroUnzip, Unzip_RemovesTheFileThatTheDiskHasNoRoomFor) {
    orva_test::write_file(zip, zip_of({{.name = "first", .content = "1"},
                                       {.name = "large", .content = std::string(300000, 'x')},
                                       {.name = "after", .content = "2"}}));
    // A limit on the size of files plays a full disk.
    const int status = orva_test::run_in_child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 100000, .rlim_max = 100000};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            return 1;
        }
        return MIRO_Unzip(zip.c_str(), out.c_str(), 0) == MIRO_HOST_ERR_WRITE && lines.size() == 1 ? 0 : 2;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content("first"), "1");
    EXPECT_FALSE(exists(out + "/large"));
    EXPECT_FALSE(exists(out + "/after"));
}

TEST_F(HostMiroUnzip, Unzip_RefusesADestinationBelowAFile) {
    orva_test::write_file(out, "file");
    orva_test::write_file(zip, zip_of({{.name = "a", .content = "1"}}));
    EXPECT_EQ(MIRO_Unzip(zip.c_str(), (out + "/below").c_str(), 0), MIRO_HOST_ERR_WRITE);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("no such folder"), std::string::npos) << lines[0];
}

TEST_F(HostMiroUnzip, Unzip_RefusesArgumentsThatCannotBeUsed) {
    EXPECT_EQ(MIRO_Unzip(nullptr, out.c_str(), 0), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_Unzip(zip.c_str(), nullptr, 0), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_Unzip("", out.c_str(), 0), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_Unzip(zip.c_str(), "", 0), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_Unzip(zip.c_str(), out.c_str(), 1), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_FALSE(exists(out));
}

TEST_F(HostMiroUnzip, Reporter_IsCalledOnTheCallersThreadAndMayUnpack) {
    orva_test::write_file(zip, zip_of({{.name = "a", .content = "1"}}));
    struct Context {
        const std::string &zip;
        const std::string &out;
        pid_t thread;
        std::uint32_t code;
    } context{zip, out, 0, 99};
    MIRO_HostSetReporter(
        [](const char *, void *given) {
            auto &own = *static_cast<Context *>(given);
            own.thread = gettid();
            // On another thread the lock of the caller would never be free.
            own.code = own.thread == getpid() ? MIRO_Unzip(own.zip.c_str(), own.out.c_str(), 0) : 98;
        },
        &context);
    EXPECT_EQ(MIRO_Unzip(scratch.file("missing").c_str(), out.c_str(), 0), MIRO_HOST_ERR_ARCHIVE);
    EXPECT_EQ(context.thread, gettid());
    EXPECT_EQ(context.code, MIRO_HOST_OK);
    EXPECT_EQ(content("a"), "1");
}

TEST_F(HostMiroUnzip, ManyThreads_UnpackSideBySide) {
    orva_test::write_file(zip, zip_of({{.name = "a/b", .content = "1"}, {.name = "c", .content = "2"}}));
    const mode_t before = umask(022);
    std::vector<std::thread> threads;
    std::atomic<int> failed{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            const std::string own = scratch.file("out" + std::to_string(i));
            for (int round = 0; round < 10; ++round) {
                failed += MIRO_Unzip(zip.c_str(), own.c_str(), 0) != MIRO_HOST_OK ? 1 : 0;
            }
            failed += orva_test::read_file(own + "/a/b") != "1" ? 1 : 0;
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(umask(before), 022u);
}

TEST_F(HostMiroUnzip, Unzip_ReadsAnArchiveAlsoAsDescriptor0) {
    orva_test::write_file(zip, zip_of({}));
    const int saved = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const std::uint32_t code = MIRO_Unzip(zip.c_str(), out.c_str(), 0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1); // nor does it stay open
    dup2(saved, STDIN_FILENO);
    close(saved);
    EXPECT_EQ(code, MIRO_HOST_OK);
    EXPECT_TRUE(lines.empty());
}

} // namespace
