#include "temp_file_private.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace KyrImageLib {

namespace {

constexpr size_t kStreamBuffer = 1 << 20;

std::atomic<unsigned> tempCounter{ 0 };

} // namespace

KyrImageStatus statusOfErrno(int error, KyrImageStatus otherwise) noexcept
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? kKyrImageErrFileWrite : otherwise;
}

std::string extensionOf(const char *path)
{
    const char *slash = std::strrchr(path, '/');
    const char *name = slash ? slash + 1 : path;
    const char *dot = std::strrchr(name, '.');
    std::string extension = dot ? dot + 1 : "";
    for (char &c : extension)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

TempFile::~TempFile()
{
    close();
    if (!committed_ && !tempPath_.empty())
        ::unlink(tempPath_.c_str());
}

KyrImageStatus TempFile::open(const std::string &path) noexcept
{
    try {
        path_ = path;
        const size_t slash = path.rfind('/');
        const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
        const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
        if (name.empty())
            return kKyrImageErrFileOpen;
        // A hidden name unique to this process and call; O_EXCL keeps it ours.
        tempPath_ = directory + "." + name + "." + std::to_string(::getpid()) + "." +
                    std::to_string(tempCounter.fetch_add(1)) + ".tmp";
    } catch (const std::exception &) {
        return kKyrImageErrOutOfMemory;
    }
    fd_ = ::open(tempPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ < 0) {
        const int error = errno;
        tempPath_.clear();
        return statusOfErrno(error, kKyrImageErrFileOpen);
    }
    return kKyrImageOk;
}

FILE *TempFile::stream() noexcept
{
    if (!stream_ && fd_ >= 0) {
        stream_ = ::fdopen(fd_, "wb");
        if (stream_) {
            fd_ = -1;
            std::setvbuf(stream_, nullptr, _IOFBF, kStreamBuffer);
        }
    }
    return stream_;
}

int TempFile::releaseDescriptor() noexcept
{
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

KyrImageStatus TempFile::commit() noexcept
{
    KyrImageStatus status = kKyrImageOk;
    if (stream_) {
        const bool failed = std::fflush(stream_) != 0 || std::ferror(stream_);
        const bool closeFailed = std::fclose(stream_) != 0;
        stream_ = nullptr;
        if (failed || closeFailed)
            status = kKyrImageErrFileWrite;
    }
    if (fd_ >= 0 && ::close(fd_) != 0)
        status = kKyrImageErrFileWrite;
    fd_ = -1;
    if (status != kKyrImageOk)
        return status;
    // Renaming over an existing file makes ext4 write the new one back at once
    // (its replace-by-rename heuristic), which doubles the time of a save; the
    // old file goes first, so the name never holds a partial file either way.
    // A failed unlink (no such file, a directory) leaves the rename to report.
    ::unlink(path_.c_str());
    if (::rename(tempPath_.c_str(), path_.c_str()) != 0)
        return kKyrImageErrFileOpen;
    committed_ = true;
    return kKyrImageOk;
}

void TempFile::close() noexcept
{
    if (stream_)
        std::fclose(stream_);
    stream_ = nullptr;
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

} // namespace KyrImageLib
