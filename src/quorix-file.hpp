// Input and result files: inputs must be readable regular files, and a result file appears under
// its name only once it is completely written and never replaces an input of the same run.
#pragma once

#include <cstdio>
#include <string>

enum class QuorixOpen { ok, failed, refused };

// Opens a file to be read whole and remembers it as an input of this run. `failed` when it
// cannot be opened (nothing printed: the caller reports it in its own words); `refused`, with
// one "Error:" line, when it is not a regular file (a directory, a device, a pipe).
QuorixOpen quorix_file_open_input(const char* path, FILE** file);

// A result file written to a temporary file beside its final name and renamed into place by
// commit(); a file given up (not committed) is removed, so no truncated result is ever left.
class QuorixResultFile {
public:
    QuorixResultFile() = default;
    QuorixResultFile(const QuorixResultFile&) = delete;
    QuorixResultFile& operator=(const QuorixResultFile&) = delete;
    ~QuorixResultFile();

    // `failed` when the temporary cannot be created (nothing printed: the caller reports it);
    // `refused`, with one "Error:" line, when `path` names an input of this run.
    QuorixOpen open(const char* path);
    FILE* get() const { return file_; }
    // Closes the temporary and renames it to the final name; false, with one "Error:" line and
    // the temporary removed, when a write, the close or the rename failed.
    bool commit();

private:
    void discard();

    FILE* file_ = nullptr;
    std::string path_;
    std::string temporary_;
};
