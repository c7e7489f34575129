#include "rastel-host/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace devhost::program {
namespace {

constexpr const char* kUnreadable = "cannot be read";
constexpr const char* kUnwritable = "cannot be written";

/// A file that is written to, which Close has to end.
class Output {
 public:
  /// `path` is the name that the messages give.
  Output(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) {
    if (descriptor_ < 0) {
      throw FileFailure(path_, kUnwritable);
    }
  }
  ~Output() {
    if (descriptor_ > STDERR_FILENO) {
      close(descriptor_);
    }
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::span<const std::uint8_t> bytes) const {
    if (isatty(descriptor_) != 0) {
      throw Failure(Status::kUsage,
                    path_ + ": expected a file or a pipe, since raw bytes would spoil a terminal");
    }
    while (!bytes.empty()) {
      const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
      if (written >= 0) {
        bytes = bytes.subspan(static_cast<std::size_t>(written));
      } else if (errno != EINTR) {
        throw FileFailure(path_, kUnwritable);
      }
    }
  }

  void SetOwner(uid_t user, gid_t group) const {
    if (fchown(descriptor_, user, group) != 0) {
      throw FileFailure(path_, "cannot be replaced by a file of the same owner");
    }
  }

  void SetMode(mode_t mode) const {
    if (fchmod(descriptor_, mode) != 0) {
      throw FileFailure(path_, kUnwritable);
    }
  }

  void Close() {
    if (close(std::exchange(descriptor_, -1)) != 0) {
      throw FileFailure(path_, kUnwritable);
    }
  }

 private:
  std::string path_;
  int descriptor_;
};

/// Keeps what a user ends the program with waiting, so that no unfinished file is left.
class Uninterrupted {
 public:
  Uninterrupted() {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&ends, signal);
    }
    sigprocmask(SIG_BLOCK, &ends, &before_);
  }
  ~Uninterrupted() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  Uninterrupted(const Uninterrupted&) = delete;
  Uninterrupted& operator=(const Uninterrupted&) = delete;

 private:
  sigset_t before_;
};

/// What a link leads to in the end, even if that does not exist.
std::filesystem::path Followed(std::filesystem::path path) {
  constexpr int kMostLinks = 40;  // as the system follows
  std::error_code error;
  for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(path, error); ++links) {
    path = path.parent_path() / std::filesystem::read_symlink(path, error);
  }
  return path;
}

/// What a new file's mode is.
mode_t NewMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

/// Throws Failure unless the file that is there may be written to.
void CheckWritable(const std::string& path, const struct stat& old) {
  // Root may write to every file, but one that nobody may write to is to stay for root as well.
  constexpr mode_t kWritable = S_IWUSR | S_IWGRP | S_IWOTH;
  const bool readOnly = (old.st_mode & kWritable) == 0;
  if (readOnly || access(path.c_str(), W_OK) != 0) {
    errno = readOnly ? EACCES : errno;
    throw FileFailure(path, kUnwritable);
  }
}

/// Writes a file beside `target` and gives it this name; `old` is what has the name, or null.
void Replace(const std::string& path, const std::filesystem::path& target, const struct stat* old,
             std::span<const std::uint8_t> bytes) {
  std::string beside = target.parent_path() / ".rastel-host-XXXXXX";
  const Uninterrupted uninterrupted;
  Output output(path, mkostemp(beside.data(), O_CLOEXEC));
  try {
    output.Write(bytes);
    if (old != nullptr) {
      output.SetOwner(old->st_uid, old->st_gid);
    }
    output.SetMode(old != nullptr ? old->st_mode : NewMode());
    output.Close();
    if (std::rename(beside.c_str(), target.c_str()) != 0) {
      throw FileFailure(path, kUnwritable);
    }
  } catch (...) {
    unlink(beside.c_str());
    throw;
  }
}

}  // namespace

Failure FileFailure(const std::string& path, std::string_view what) {
  const std::string reason = std::generic_category().message(errno);
  return {Status::kFile, path + ": " + std::string(what) + " (" + reason + ")"};
}

InputFile OpenFile(const std::string& path) {
  InputFile file(std::fopen(path.c_str(), "rbe"));
  if (!file) {
    throw FileFailure(path, kUnreadable);
  }
  return file;
}

std::vector<std::uint8_t> ReadBytes(const std::string& path, std::size_t most) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  const InputFile opened = path == "-" ? nullptr : OpenFile(path);
  std::FILE* const file = opened ? opened.get() : stdin;
  std::vector<std::uint8_t> bytes;
  std::size_t got = 0;
  do {
    const std::size_t wanted = std::min(most - bytes.size(), kPiece);
    const std::size_t before = bytes.size();
    bytes.resize(before + wanted);
    got = std::fread(bytes.data() + before, 1, wanted, file);
    bytes.resize(before + got);
  } while (got > 0);
  if (std::ferror(file) != 0) {
    throw FileFailure(path == "-" ? "standard input" : path, kUnreadable);
  }
  return bytes;
}

void WriteBytes(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::signal(SIGXFSZ, SIG_IGN);  // a file that gets too long is an error like others
  if (path == "-") {
    std::cout.flush();
    Output("standard output", STDOUT_FILENO).Write(bytes);
    return;
  }
  const auto target = Followed(path);
  struct stat old {};
  const bool exists = stat(target.c_str(), &old) == 0;
  if (!exists && errno != ENOENT) {
    throw FileFailure(path, kUnwritable);
  }
  if (exists) {
    CheckWritable(path, old);
  }
  if (exists && !S_ISREG(old.st_mode)) {
    Output output(path, open(target.c_str(), O_WRONLY | O_CLOEXEC));
    output.Write(bytes);
    output.Close();
  } else {
    Replace(path, target, exists ? &old : nullptr, bytes);
  }
}

}  // namespace devhost::program
