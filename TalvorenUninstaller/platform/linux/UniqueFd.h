#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

// Owns one file descriptor and closes it exactly once: when it goes out of
// scope, is reset or is assigned another. Move-only, so a descriptor has one
// owner and no path through a function has to remember to close it.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  bool isValid() const { return fd_ >= 0; }
  int release() { return std::exchange(fd_, -1); }

  // Closes the descriptor held, if any. errno is kept: a caller reporting
  // why something failed must not get the close's answer instead.
  void reset(int fd = -1) {
    const int saved = errno;
    if (fd_ >= 0) ::close(fd_);
    errno = saved;
    fd_ = fd;
  }

  // Closes now, for a caller that must know whether everything written
  // reached the file (some file systems report a failed write only here):
  // 0, or the errno of the close.
  int close() {
    if (fd_ < 0) return 0;
    return ::close(std::exchange(fd_, -1)) == 0 ? 0 : errno;
  }

 private:
  int fd_ = -1;
};
