// Unpacking of zip archives by libarchive. Every name is checked before anything is written, and again on the way.
#include "miro_host.h"

#include "archive_names.h"
#include "host_internal.h"
#include "uncancelled.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <sched.h>
#include <set>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t kReadBytes = 64 * 1024;
// Links on the way are refused, and removed where a file goes; names were made relative to the destination here.
constexpr int kWriteFlags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT;

struct CloseReader {
    void operator()(archive *reader) const {
        archive_read_free(reader);
    }
};
struct CloseWriter {
    void operator()(archive *writer) const {
        archive_write_free(writer);
    }
};
using Reader = std::unique_ptr<archive, CloseReader>;
using Writer = std::unique_ptr<archive, CloseWriter>;
using Links = std::set<std::string, std::less<>>;

// One archive on its way to one folder.
struct Job {
    const char *zip_file;
    std::string destination; // absolute, without links
    Links links;             // names that the archive makes links of
    host::UnzipLimits limits;
    std::uint64_t archive_bytes = 0;
    std::uint64_t entries = 0; // of the pass that is under way
    std::uint64_t bytes = 0;
    std::string &report; // why it failed, for the caller's thread to tell when it holds no lock
};

std::uint32_t fail(std::uint32_t code, const Job &job, const char *what, const char *why) {
    job.report.assign("unzip of \"").append(job.zip_file).append("\" to \"").append(job.destination).append("\": ");
    job.report.append(what).append(": ").append(why != nullptr ? why : "no reason given");
    return code;
}

std::uint32_t beyond(const Job &job, const char *what, std::uint64_t limit, const char *unit) {
    return fail(MIRO_HOST_ERR_LIMIT, job, what, ("more than " + std::to_string(limit) + " " + unit).c_str());
}

// Small archives of empty text have any ratio: it counts from a size at which it hurts.
constexpr std::uint64_t kRatioCountsFrom = 1024 * 1024;

std::uint32_t add_bytes(Job &job, const char *name, std::uint64_t bytes) {
    job.bytes += bytes;
    if (bytes > job.limits.bytes || job.bytes > job.limits.bytes) {
        return beyond(job, name, job.limits.bytes, "bytes in all");
    }
    if (job.bytes >= kRatioCountsFrom && job.bytes / job.limits.ratio > job.archive_bytes) {
        return beyond(job, name, job.limits.ratio, "bytes for each byte of the archive");
    }
    return MIRO_HOST_OK;
}

std::uint32_t add_entry(Job &job, const std::string &name) {
    const auto depth = static_cast<std::uint64_t>(std::count(name.begin(), name.end(), '/')) + 1;
    if (++job.entries > job.limits.entries) {
        return beyond(job, name.c_str(), job.limits.entries, "entries");
    }
    return depth > job.limits.depth ? beyond(job, name.c_str(), job.limits.depth, "parts in a name") : MIRO_HOST_OK;
}

// Other methods take memory that the archive asks for, up to 4 GiB, before the first byte comes out.
bool has_known_method(archive *reader) {
    const char *format = archive_format_name(reader);
    return format != nullptr &&
           (std::strstr(format, "(uncompressed)") != nullptr || std::strstr(format, "(deflation)") != nullptr);
}

// Only archives with a whole directory at their end are read: one that was truncated is refused before anything is
// written.
Reader open_archive(const Job &job) {
    Reader reader(archive_read_new());
    if (!reader || archive_read_support_format_zip_seekable(reader.get()) != ARCHIVE_OK ||
        archive_read_open_filename(reader.get(), job.zip_file, kReadBytes) != ARCHIVE_OK) {
        fail(MIRO_HOST_ERR_ARCHIVE, job, "not readable", reader ? archive_error_string(reader.get()) : "no memory");
        return nullptr;
    }
    return reader;
}

std::uint32_t check_entry(const Job &job, archive_entry *entry, std::string &name) {
    const char *given = archive_entry_pathname(entry);
    if (given == nullptr) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, "refused", "an entry without a name");
    }
    if (!host::normal_entry_name(given, name)) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "the name leaves the destination");
    }
    if (job.destination.size() + 1 + name.size() >= PATH_MAX) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "the name is too long");
    }
    const auto type = archive_entry_filetype(entry);
    if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "neither a file nor a folder nor a link");
    }
    if (name.empty() && type != AE_IFDIR) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "no name for a file");
    }
    if (type == AE_IFLNK) {
        const char *target = archive_entry_symlink(entry);
        if (target == nullptr || !host::link_stays_inside(name, target)) {
            return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "the link leaves the destination");
        }
    }
    if (host::lies_behind_link(name, job.links)) {
        return fail(MIRO_HOST_ERR_ENTRY_REFUSED, job, given, "the name leads through a link of the archive");
    }
    return MIRO_HOST_OK;
}

using EntryVisitor = std::function<std::uint32_t(archive *, archive_entry *)>;

std::uint32_t for_each_entry(const Job &job, const EntryVisitor &visit) {
    const Reader reader = open_archive(job);
    if (!reader) {
        return MIRO_HOST_ERR_ARCHIVE;
    }
    archive_entry *entry = nullptr;
    int result = ARCHIVE_OK;
    while ((result = archive_read_next_header(reader.get(), &entry)) >= ARCHIVE_WARN && result != ARCHIVE_EOF) {
        const std::uint32_t code = visit(reader.get(), entry);
        if (code != MIRO_HOST_OK) {
            return code;
        }
    }
    if (result != ARCHIVE_EOF) {
        return fail(MIRO_HOST_ERR_ARCHIVE, job, "damaged", archive_error_string(reader.get()));
    }
    return MIRO_HOST_OK;
}

// What the archive says of itself; what comes out is counted again.
std::uint32_t check_limits(Job &job, archive *reader, archive_entry *entry, const std::string &name) {
    std::uint32_t code = add_entry(job, name);
    if (code == MIRO_HOST_OK && archive_entry_size_is_set(entry) != 0) {
        const la_int64_t size = archive_entry_size(entry);
        code = add_bytes(job, name.c_str(), size < 0 ? UINT64_MAX : static_cast<std::uint64_t>(size));
    }
    if (code == MIRO_HOST_OK && archive_entry_filetype(entry) == AE_IFREG && !has_known_method(reader)) {
        code = fail(MIRO_HOST_ERR_ARCHIVE, job, name.c_str(), "neither stored nor deflated");
    }
    return code;
}

std::uint32_t check_all(Job &job) {
    std::string name;
    const std::uint32_t code = for_each_entry(job, [&](archive *reader, archive_entry *entry) {
        const std::uint32_t refused = check_entry(job, entry, name);
        if (refused == MIRO_HOST_OK && archive_entry_filetype(entry) == AE_IFLNK) {
            job.links.insert(name);
        }
        return refused != MIRO_HOST_OK ? refused : check_limits(job, reader, entry, name);
    });
    job.bytes = 0;
    // Once more with all links known: an entry may come before the link that its name leads through.
    return code != MIRO_HOST_OK
               ? code
               : for_each_entry(job, [&](archive *, archive_entry *entry) { return check_entry(job, entry, name); });
}

std::uint32_t copy_content(Job &job, archive *reader, archive *writer, const char *path) {
    const void *bytes = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    int result = ARCHIVE_OK;
    while ((result = archive_read_data_block(reader, &bytes, &size, &offset)) == ARCHIVE_OK) {
        const std::uint32_t code = add_bytes(job, path, size);
        if (code != MIRO_HOST_OK) {
            return code;
        }
        if (archive_write_data_block(writer, bytes, size, offset) < ARCHIVE_OK) {
            return fail(MIRO_HOST_ERR_WRITE, job, path, archive_error_string(writer));
        }
    }
    return result == ARCHIVE_EOF ? MIRO_HOST_OK
                                 : fail(MIRO_HOST_ERR_ARCHIVE, job, path, archive_error_string(reader));
}

std::uint32_t write_entry(Job &job, archive *reader, archive *writer, archive_entry *entry) {
    std::string name;
    const std::uint32_t refused = check_entry(job, entry, name);
    if (refused != MIRO_HOST_OK || name.empty()) {
        return refused;
    }
    const std::string path = job.destination + "/" + name;
    archive_entry_set_pathname(entry, path.c_str());
    archive_entry_set_perm(entry, archive_entry_perm(entry) & 0777);
    if (archive_write_header(writer, entry) < ARCHIVE_OK) {
        return fail(MIRO_HOST_ERR_WRITE, job, path.c_str(), archive_error_string(writer));
    }
    const bool is_file = archive_entry_filetype(entry) == AE_IFREG;
    std::uint32_t code = is_file ? copy_content(job, reader, writer, path.c_str()) : MIRO_HOST_OK;
    if (archive_write_finish_entry(writer) < ARCHIVE_WARN && code == MIRO_HOST_OK) {
        code = fail(MIRO_HOST_ERR_WRITE, job, path.c_str(), archive_error_string(writer));
    }
    if (code != MIRO_HOST_OK && is_file) {
        unlink(path.c_str());
    }
    return code;
}

std::uint32_t write_all_entries(Job &job) {
    const Writer writer(archive_write_disk_new());
    if (!writer || archive_write_disk_set_options(writer.get(), kWriteFlags) != ARCHIVE_OK) {
        return fail(MIRO_HOST_ERR_NO_MEMORY, job, "not started", "no memory");
    }
    const std::uint32_t code = for_each_entry(
        job, [&](archive *reader, archive_entry *entry) { return write_entry(job, reader, writer.get(), entry); });
    if (archive_write_close(writer.get()) < ARCHIVE_WARN && code == MIRO_HOST_OK) {
        return fail(MIRO_HOST_ERR_WRITE, job, "not finished", archive_error_string(writer.get()));
    }
    return code;
}

std::uint32_t prepare_destination(Job &job, const char *destination) {
    std::error_code error;
    std::filesystem::create_directories(destination, error);
    const std::unique_ptr<char, void (*)(void *)> resolved(realpath(destination, nullptr), std::free);
    if (!resolved) {
        job.destination = destination;
        return fail(MIRO_HOST_ERR_WRITE, job, "no such folder", std::generic_category().message(errno).c_str());
    }
    job.destination = resolved.get();
    struct stat status {};
    if (stat(resolved.get(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return fail(MIRO_HOST_ERR_WRITE, job, "no such folder", "it is something else");
    }
    return MIRO_HOST_OK;
}

// Names in archives are UTF-8, whatever the locale of the process is.
class Utf8Names {
public:
    Utf8Names() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        previous_ = locale_ != nullptr ? uselocale(locale_) : nullptr;
    }
    ~Utf8Names() {
        if (locale_ != nullptr) {
            uselocale(previous_);
            freelocale(locale_);
        }
    }
    Utf8Names(const Utf8Names &) = delete;
    Utf8Names &operator=(const Utf8Names &) = delete;

private:
    locale_t locale_;
    locale_t previous_ = nullptr;
};

struct ArchiveFile {
    std::uint64_t bytes = 0;
    bool is_empty_archive = false; // an end record that says so, and nothing else; libarchive takes it for damaged
};

ArchiveFile look_at(const char *zip_file) {
    constexpr std::string_view kEmpty{"PK\5\6\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20};
    constexpr std::size_t kEndRecord = 22;
    ArchiveFile file;
    struct stat status {};
    unsigned char end[kEndRecord];
    const int fd = open(zip_file, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        file.bytes = static_cast<std::uint64_t>(status.st_size);
        if (read(fd, end, sizeof end) == ssize_t{kEndRecord} && std::memcmp(end, kEmpty.data(), kEmpty.size()) == 0) {
            file.is_empty_archive = file.bytes == kEndRecord + end[20] + std::uint64_t{256} * end[21];
        }
    }
    if (fd >= 0) {
        close(fd);
    }
    return file;
}

std::uint32_t unpack(const char *zip_file, const char *destination, std::string &report) {
    Job job{.zip_file = zip_file,
            .destination = destination,
            .links = {},
            .limits = host::unzip_limits(),
            .report = report};
    const Utf8Names utf8_names;
    const ArchiveFile file = look_at(zip_file);
    job.archive_bytes = file.bytes;
    std::uint32_t code = file.is_empty_archive ? MIRO_HOST_OK : check_all(job);
    if (code == MIRO_HOST_OK) {
        code = prepare_destination(job, destination);
    }
    return code == MIRO_HOST_OK && !file.is_empty_archive ? write_all_entries(job) : code;
}

std::uint32_t unpack_or_no_memory(const char *zip_file, const char *destination, std::string &report) {
    try {
        return unpack(zip_file, destination, report);
    } catch (const std::exception &) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
}

// libarchive changes the file mode mask for a moment to read it. A thread with a mask of its own keeps that from the
// other threads of the process; where the kernel refuses that, the lock at least keeps two archives apart.
std::mutex g_one_at_a_time;

// A fork does not wait for an archive, and the child has no archive under way.
[[gnu::constructor]] void prepare_fork() {
    host::after_fork_in_child([] { new (&g_one_at_a_time) std::mutex; });
}

std::uint32_t unpack_in_own_thread(const char *zip_file, const char *destination, std::string &report) {
    const host::Uncancelled uncancelled;
    const std::lock_guard<std::mutex> guard(g_one_at_a_time);
    std::uint32_t code = MIRO_HOST_ERR_SYSTEM;
    try {
        std::thread([&] {
            unshare(CLONE_FS);
            code = unpack_or_no_memory(zip_file, destination, report);
        }).join();
    } catch (const std::system_error &failure) {
        errno = failure.code().value();
        return MIRO_HOST_ERR_SYSTEM;
    } catch (const std::exception &) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
    return code;
}

} // namespace

MIRO_EXPORT uint32_t MIRO_Unzip(const char *zipFile, const char *dstPath, uint32_t option) {
    if (zipFile == nullptr || dstPath == nullptr || *zipFile == '\0' || *dstPath == '\0') {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (option != 0) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    std::string report;
    const std::uint32_t code = unpack_in_own_thread(zipFile, dstPath, report);
    if (!report.empty()) {
        host::g_reporter.line("%s", report.c_str());
    }
    return code;
}
