// A file written under a temporary name beside its final one and renamed into
// place only when complete, so that a failed write leaves nothing behind.
#pragma once

#include <cstdio>
#include <string>

#include <image/KyrImage.h>

namespace KyrImageLib {

class TempFile
{
public:
    TempFile() = default;
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;
    // Removes the temporary file unless it was committed.
    ~TempFile();

    // Creates the temporary file for `path`. Codes: kKyrImageErrFileOpen (the
    // directory cannot take it), kKyrImageErrFileWrite (no space).
    KyrImageStatus open(const std::string &path) noexcept;

    const std::string &tempPath() const noexcept { return tempPath_; }
    // The open file, still owned by this object.
    int descriptor() const noexcept { return fd_; }
    // A buffered stream over the file, owned by this object; null when none
    // can be made.
    FILE *stream() noexcept;
    // Hands the descriptor to a writer that closes it itself.
    int releaseDescriptor() noexcept;
    // Closes what this object still holds and renames the file to its final
    // name. Codes: kKyrImageErrFileWrite (a buffered write or the close
    // failed), kKyrImageErrFileOpen (the rename failed).
    KyrImageStatus commit() noexcept;

private:
    void close() noexcept;

    std::string path_;
    std::string tempPath_;
    int fd_ = -1;
    FILE *stream_ = nullptr;
    bool committed_ = false;
};

// The code for a failed open or write with this errno.
KyrImageStatus statusOfErrno(int error, KyrImageStatus otherwise) noexcept;

// The text after the last "." of `path`'s last component, lower case.
std::string extensionOf(const char *path);

} // namespace KyrImageLib
