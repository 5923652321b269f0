#include "tools/vdsctl/result_stream.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>

namespace vdsctl {

namespace {

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

int DivertStandardOutput() {
  std::cout.flush();
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  if (saved < 0) return STDOUT_FILENO;
  if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
    close(saved);
    return STDOUT_FILENO;
  }
  return saved;
}

}  // namespace

FdStreamBuf::int_type FdStreamBuf::overflow(int_type ch) {
  if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
  const char c = traits_type::to_char_type(ch);
  return WriteAll(fd_, &c, 1) ? ch : traits_type::eof();
}

std::streamsize FdStreamBuf::xsputn(const char* data, std::streamsize size) {
  return WriteAll(fd_, data, static_cast<size_t>(size)) ? size : 0;
}

ResultStream::ResultStream() : fd_(DivertStandardOutput()), buffer_(fd_), out_(&buffer_) {}

ResultStream::~ResultStream() { std::fflush(stdout); }

}  // namespace vdsctl
