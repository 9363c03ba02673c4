#include "platform/file_io.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>

#include "host/messages.hpp"

namespace mspc::platform {
namespace {

constexpr std::size_t kBytesPerMegabyte = 1024 * 1024;
constexpr std::size_t kReadChunk = 1 << 16;
constexpr int kTemporaryNameAttempts = 64;

std::string ErrnoText(int error_number) {
  return std::error_code(error_number, std::generic_category()).message();
}

// Closes the descriptor it holds when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }

  int get() const { return fd_; }
  /// Close now and report the result; the destructor then has nothing left to do.
  int Close() {
    const int result = ::close(fd_);
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

bool WriteAll(int fd, const std::string& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t count = ::write(fd, content.data() + written, content.size() - written);
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    written += static_cast<std::size_t>(count);
  }
  return true;
}

// A name no other writer uses at the same time: the process id, a per-process counter and a
// random salt (another process may have been given the same id before).
std::string TemporarySuffix() {
  static std::atomic<std::uint64_t> counter{0};
  static const std::uint64_t salt = [] {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) ^ device();
  }();
  const std::uint64_t serial = counter.fetch_add(1);
  return ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(serial) + "-" +
         std::to_string((salt + serial * 0x9E3779B97F4A7C15ULL) % 1000000007ULL);
}

}  // namespace

bool ReadWholeFile(const std::string& path,
                   std::string* content,
                   std::string* error,
                   int max_megabytes) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) {
    *error = FormatMessage(MessageId::kFileCannotOpen, path, ErrnoText(errno));
    return false;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    *error = FormatMessage(MessageId::kFileCannotRead, path, ErrnoText(errno));
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    *error = FormatMessage(MessageId::kFileCannotOpen, path, ErrnoText(EISDIR));
    return false;
  }
  const std::size_t limit =
      max_megabytes > 0 ? static_cast<std::size_t>(max_megabytes) * kBytesPerMegabyte : 0;
  const auto too_large = [&](std::size_t size) { return limit > 0 && size > limit; };
  if (S_ISREG(status.st_mode) && too_large(static_cast<std::size_t>(status.st_size))) {
    *error = FormatMessage(MessageId::kFileTooLarge, path, max_megabytes);
    return false;
  }

  std::string text;
  if (S_ISREG(status.st_mode)) text.reserve(static_cast<std::size_t>(status.st_size));
  char buffer[kReadChunk];
  while (true) {
    const ssize_t count = ::read(file.get(), buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      *error = FormatMessage(MessageId::kFileCannotRead, path, ErrnoText(errno));
      return false;
    }
    if (count == 0) break;
    text.append(buffer, static_cast<std::size_t>(count));
    // A pipe or a growing file has no size up front; stop as soon as it passes the limit.
    if (too_large(text.size())) {
      *error = FormatMessage(MessageId::kFileTooLarge, path, max_megabytes);
      return false;
    }
  }
  *content = std::move(text);
  return true;
}

bool WriteFileAtomically(const std::string& path, const std::string& content, std::string* error) {
  const std::filesystem::path target(path);
  const std::string file_name = target.filename().string();
  if (file_name.empty() || file_name == "." || file_name == "..") {
    *error = FormatMessage(MessageId::kFileCannotWrite, path, ErrnoText(EISDIR));
    return false;
  }
  const std::filesystem::path folder =
      target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");

  // The temporary file sits beside the target so that the rename stays within one file system
  // and therefore replaces the target in one step. Mode 0666 lets the umask decide, as for any
  // newly created file.
  std::string temporary;
  int fd = -1;
  for (int attempt = 0; attempt < kTemporaryNameAttempts && fd < 0; ++attempt) {
    temporary = (folder / ("." + file_name + TemporarySuffix())).string();
    fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) {
    *error = FormatMessage(MessageId::kFileCannotCreateTemporary, path, ErrnoText(errno));
    return false;
  }

  FileDescriptor file(fd);
  const auto fail = [&](MessageId id, int error_number) {
    *error = FormatMessage(id, path, ErrnoText(error_number));
    ::unlink(temporary.c_str());
    return false;
  };
  if (!WriteAll(file.get(), content)) {
    const int error_number = errno;
    file.Close();
    return fail(MessageId::kFileCannotWrite, error_number);
  }
  // The data must be on disk before the rename publishes it; otherwise a crash right after the
  // rename could leave an empty file under the final name.
  if (::fsync(file.get()) != 0) {
    const int error_number = errno;
    file.Close();
    return fail(MessageId::kFileCannotWrite, error_number);
  }
  if (file.Close() != 0) return fail(MessageId::kFileCannotWrite, errno);
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    return fail(MessageId::kFileCannotRename, errno);
  }
  return true;
}

}  // namespace mspc::platform
