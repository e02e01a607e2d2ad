// Input and result files: regular-file check and record of the inputs read, and result files
// written under a temporary name and renamed into place when complete.
#include "quorix-file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <vector>

namespace {

// Absolute paths of the files read as inputs by this run.
std::mutex inputs_mutex;
std::vector<std::string> inputs;

void remember_input(const char* path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    std::string name = error ? std::string(path) : absolute.string();
    const std::lock_guard<std::mutex> lock(inputs_mutex);
    // Once per file, so that a file read again and again does not grow the list.
    if (std::find(inputs.begin(), inputs.end(), name) == inputs.end()) inputs.push_back(std::move(name));
}

// Whether `path` is, by device and inode, one of the inputs read (hard links and other
// spellings of the same file included); inputs removed since are no longer matched.
bool is_input(const char* path) {
    struct stat target;
    if (::stat(path, &target) != 0) return false;
    const std::lock_guard<std::mutex> lock(inputs_mutex);
    for (const std::string& input : inputs) {
        struct stat read;
        if (::stat(input.c_str(), &read) == 0 && read.st_dev == target.st_dev && read.st_ino == target.st_ino)
            return true;
    }
    return false;
}

// Creates a new file beside `path` under a name no other file has.
int create_temporary(const std::string& path, std::string& temporary) {
    static unsigned serial = 0;
    for (int attempt = 0; attempt < 100; attempt++) {
        temporary = path + ".tmp" + std::to_string(::getpid()) + "-" + std::to_string(serial++);
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

// Opened without blocking, so that a pipe with no writer is refused instead of waited for.
QuorixOpen quorix_file_open_input(const char* path, FILE** file) {
    *file = nullptr;
    const int fd = path ? ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (fd < 0) return QuorixOpen::failed;
    struct stat status;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        std::fprintf(stderr, "Error: %s is not a regular file.\n", path);
        ::close(fd);
        return QuorixOpen::refused;
    }
    *file = ::fdopen(fd, "rb");
    if (!*file) {
        ::close(fd);
        return QuorixOpen::failed;
    }
    remember_input(path);
    return QuorixOpen::ok;
}

QuorixResultFile::~QuorixResultFile() { discard(); }

QuorixOpen QuorixResultFile::open(const char* path) {
    discard();
    if (!path) return QuorixOpen::failed;
    if (is_input(path)) {
        std::fprintf(stderr, "Error: %s is an input of this run and is not overwritten.\n", path);
        return QuorixOpen::refused;
    }
    path_ = path;
    const int fd = create_temporary(path_, temporary_);
    if (fd < 0) return QuorixOpen::failed;
    file_ = ::fdopen(fd, "wb");
    if (!file_) {
        ::close(fd);
        std::remove(temporary_.c_str());
        return QuorixOpen::failed;
    }
    return QuorixOpen::ok;
}

bool QuorixResultFile::commit() {
    if (!file_) return false;
    const bool written = !std::ferror(file_);
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (written && closed && std::rename(temporary_.c_str(), path_.c_str()) == 0) return true;
    std::remove(temporary_.c_str());
    std::fprintf(stderr, "Error: unable to write file %s\n", path_.c_str());
    return false;
}

void QuorixResultFile::discard() {
    if (!file_) return;
    std::fclose(file_);
    file_ = nullptr;
    std::remove(temporary_.c_str());
}
