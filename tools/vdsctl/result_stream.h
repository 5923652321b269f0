// vdsctl's own standard output, kept apart from the provider module's. The module writes to the
// process's standard output with printf (a refused logon prints "unknown user."), and that text
// must never land in a table or a JSON document. So before the module is loaded, file descriptor
// 1 is pointed at standard error for the rest of the process, and vdsctl writes its results to a
// duplicate of the original descriptor.
#ifndef VELA_TOOLS_VDSCTL_RESULT_STREAM_H_
#define VELA_TOOLS_VDSCTL_RESULT_STREAM_H_

#include <ostream>
#include <streambuf>

namespace vdsctl {

// Writes straight to a file descriptor, without buffering of its own.
class FdStreamBuf : public std::streambuf {
 public:
  explicit FdStreamBuf(int fd) : fd_(fd) {}
  FdStreamBuf(const FdStreamBuf&) = delete;
  FdStreamBuf& operator=(const FdStreamBuf&) = delete;

 protected:
  int_type overflow(int_type ch) override;
  std::streamsize xsputn(const char* data, std::streamsize size) override;

 private:
  int fd_;
};

class ResultStream {
 public:
  // Flushes C's and C++'s standard output, duplicates descriptor 1 and points descriptor 1 at
  // standard error. Without a duplicate (no descriptors left) results go to descriptor 1 as it
  // is.
  ResultStream();
  // The module may outlive this object (it stays mapped when it asks to), so descriptor 1 is
  // not pointed back; only what the module has buffered is flushed, to standard error.
  ~ResultStream();
  ResultStream(const ResultStream&) = delete;
  ResultStream& operator=(const ResultStream&) = delete;

  std::ostream& Out() { return out_; }
  // The descriptor that results go to.
  int Fd() const { return fd_; }

 private:
  int fd_;
  FdStreamBuf buffer_;
  std::ostream out_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_RESULT_STREAM_H_
