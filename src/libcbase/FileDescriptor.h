/// Owner of one file descriptor, which is closed with it. Used by one thread at a time.
#pragma once

#include <cerrno>

#include <unistd.h>

// For the linker only, as in log.h: the installed huelib holds it, and a program may have a class
// of this name.
inline namespace cbase_log {

class FileDescriptor final {
  public:
    /// Takes `fd`; -1 holds no descriptor.
    explicit FileDescriptor(int fd = -1) noexcept : fd_(fd) {}
    ~FileDescriptor() { reset(); }
    /// Takes the descriptor of `other`, which then holds none.
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
    /// Closes the descriptor that is held and takes that of `other`.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    /// The descriptor, which stays owned here; -1 for none.
    int get() const noexcept { return fd_; }
    /// True when a descriptor is held.
    explicit operator bool() const noexcept { return fd_ >= 0; }
    /// Gives the descriptor to the caller.
    int release() noexcept {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    /// Closes the descriptor that is held and takes `fd`; errno is kept.
    void reset(int fd = -1) noexcept {
        if (fd_ >= 0) {
            const int kept = errno;
            close(fd_);
            errno = kept;
        }
        fd_ = fd;
    }

  private:
    int fd_;
};

}  // namespace cbase_log
