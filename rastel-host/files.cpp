#include "rastel-host/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace devhost::program {
namespace {

constexpr const char* kUnwritable = "cannot be written";

Failure FileFailure(const std::string& path, const char* what) {
  const std::string reason = std::generic_category().message(errno);
  return {Status::kFile, path + ": " + what + " (" + reason + ")"};
}

/// False if it failed, for the reason in errno, like the other functions that give a bool.
bool Write(std::FILE* file, std::span<const std::uint8_t> bytes) {
  return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
}

/// Writes to what is no file that could be replaced.
void WriteInPlace(const std::string& name, std::FILE* file, std::span<const std::uint8_t> bytes) {
  if (file != nullptr && isatty(fileno(file)) != 0) {
    throw Failure(Status::kUsage, name + ": expected a file or a pipe, since raw bytes spoil a terminal");
  }
  if (file == nullptr || !Write(file, bytes)) {
    throw FileFailure(name, kUnwritable);
  }
}

/// What a link leads to in the end, even if that does not exist.
std::filesystem::path Followed(std::filesystem::path path) {
  constexpr int kMostLinks = 40;  // as the system follows
  std::error_code error;
  for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(path, error); ++links) {
    path = path.parent_path() / std::filesystem::read_symlink(path, error);
  }
  return path;
}

/// Root may write to every file, but one that nobody may write to is to stay for root as well.
bool IsWritable(const std::filesystem::path& path, const struct stat& file) {
  constexpr mode_t kWritable = S_IWUSR | S_IWGRP | S_IWOTH;
  if ((file.st_mode & kWritable) == 0) {
    errno = EACCES;
    return false;
  }
  return access(path.c_str(), W_OK) == 0;
}

/// The mode of a new file.
mode_t NewMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

/// Writes a file beside `target` and gives it this name. `old` is the file that has it, or null.
bool Replace(const std::filesystem::path& target, const struct stat* old,
             std::span<const std::uint8_t> bytes) {
  std::string beside = target.parent_path() / ".rastel-host-XXXXXX";
  const int descriptor = mkostemp(beside.data(), O_CLOEXEC);
  if (descriptor < 0) {
    return false;
  }
  const File file(fdopen(descriptor, "wb"));
  const bool isDone = file && Write(file.get(), bytes) &&
                      (old == nullptr || fchown(descriptor, old->st_uid, old->st_gid) == 0) &&
                      fchmod(descriptor, old != nullptr ? old->st_mode : NewMode()) == 0 &&
                      std::rename(beside.c_str(), target.c_str()) == 0;
  if (!isDone) {
    const int reason = errno;
    unlink(beside.c_str());
    errno = reason;
  }
  return isDone;
}

/// The same; what a user ends the program with waits until no unfinished file is left.
bool ReplaceUninterrupted(const std::filesystem::path& target, const struct stat* old,
                          std::span<const std::uint8_t> bytes) {
  sigset_t ends, before;
  sigemptyset(&ends);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    sigaddset(&ends, signal);
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a file that gets too long is an error like others
  sigprocmask(SIG_BLOCK, &ends, &before);
  const bool isDone = Replace(target, old, bytes);
  const int reason = errno;
  sigprocmask(SIG_SETMASK, &before, nullptr);
  errno = reason;
  return isDone;
}

}  // namespace

Failure ReadFailure(const std::string& path) {
  return FileFailure(path, "cannot be read");
}

File OpenFile(const std::string& path) {
  File file(std::fopen(path.c_str(), "rbe"));
  if (!file) {
    throw ReadFailure(path);
  }
  return file;
}

std::vector<std::uint8_t> ReadBytes(const std::string& path, std::size_t most) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  const File opened = path == "-" ? nullptr : OpenFile(path);
  std::FILE* const file = opened ? opened.get() : stdin;
  std::vector<std::uint8_t> bytes;
  std::size_t before = 0, got = 0;
  do {
    bytes.resize(std::min(before + kPiece, most));
    got = std::fread(bytes.data() + before, 1, bytes.size() - before, file);
    before += got;
  } while (got > 0);
  bytes.resize(before);
  if (std::ferror(file) != 0) {
    throw ReadFailure(opened ? path : "standard input");
  }
  return bytes;
}

void WriteBytes(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (path == "-") {
    WriteInPlace("standard output", stdout, bytes);
    return;
  }
  const auto target = Followed(path);
  struct stat old {};
  const bool exists = stat(target.c_str(), &old) == 0;
  if (exists ? !IsWritable(target, old) : errno != ENOENT) {
    throw FileFailure(path, kUnwritable);
  }
  if (exists && !S_ISREG(old.st_mode)) {
    const File file(std::fopen(target.c_str(), "wbe"));
    WriteInPlace(path, file.get(), bytes);
  } else if (!ReplaceUninterrupted(target, exists ? &old : nullptr, bytes)) {
    throw FileFailure(path, exists ? "cannot be replaced by a new file of the same owner" : kUnwritable);
  }
}

}  // namespace devhost::program
