// Bytes in files and pipes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "rastel-host/program.h"

namespace devhost::program {

/// "PATH: cannot be read (the system's reason)", which is that of errno.
Failure ReadFailure(const std::string& path);

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file to be read. Throws Failure (kFile).
File OpenFile(const std::string& path);

/// One byte more than a memory block can have.
inline constexpr std::size_t kMostBytes = std::size_t{1} << 31;

/// The file's bytes, or those of standard input if `path` is "-"; the first `most` of them if there are more.
/// Throws Failure (kFile).
std::vector<std::uint8_t> ReadBytes(const std::string& path, std::size_t most = kMostBytes);

/// Writes to standard output if `path` is "-", and else the whole file or nothing: an old file stays until
/// the new one is complete, which then has its mode and owner. Links are followed; devices and pipes are
/// written to. Throws Failure: kFile if the file cannot be written, kUsage if the bytes would go to a
/// terminal.
void WriteBytes(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace devhost::program
