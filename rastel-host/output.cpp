#include "rastel-host/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <system_error>

#include "rastel-host/program.h"

namespace devhost::program {
namespace {

int talk = 0;
int outputError = 0;  // why standard output failed first

/// True for a terminal that understands more than letters.
bool IsCapable(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return isatty(descriptor) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

void ShowInPlace(const std::string& line) {
  if (talk >= 0 && IsCapable(STDERR_FILENO)) {
    std::cerr << "\r\033[K" << line << std::flush;
  }
}

}  // namespace

Json& Report() {
  static Json report = Json::object();
  return report;
}

void PrintReport() {
  // A path or a message need not be UTF-8.
  std::cout << Report().dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void FlushOutput() {
  if (std::cout && !std::cout.flush()) {
    outputError = errno;
  }
}

void RequireOutput() {
  FlushOutput();
  if (!std::cout) {
    throw Failure(Status::kFile, "standard output: " + std::generic_category().message(outputError));
  }
}

void SetTalk(int level) {
  talk = level;
}

void Say(const std::string& line) {
  if (talk >= 0) {
    std::cerr << "rastel-host: " << line << '\n';
  }
}

void SayStep(const std::string& line) {
  if (talk > 0) {
    std::cerr << "rastel-host: " << line << '\n';
  }
}

std::string Count(std::int64_t number, const std::string& unit) {
  return std::to_string(number) + ' ' + unit + (number == 1 ? "" : "s");
}

std::string Bad(const std::string& text) {
  const char* forbidden = std::getenv("NO_COLOR");
  const bool isAllowed = forbidden == nullptr || *forbidden == '\0';
  return isAllowed && IsCapable(STDOUT_FILENO) ? "\033[31m" + text + "\033[0m" : text;
}

std::size_t OutputWidth() {
  constexpr std::size_t kElsewhere = 100;
  winsize size = {};
  const bool isTerminal = isatty(STDOUT_FILENO) != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
  return isTerminal && size.ws_col > 0 ? size.ws_col : kElsewhere;
}

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  std::string lines;
  std::size_t column = 0;  // 0 at the start of a line
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(",;"), text.size() - 1) + 1;
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (column > 0 && column + 1 + piece.size() > width) {
      lines += '\n';
      column = 0;
    }
    lines += column == 0 ? std::string(indent, ' ') : " ";
    column = (column == 0 ? indent : column + 1) + piece.size();
    lines += piece;
  }
  return lines + '\n';
}

Progress::Progress(const std::string& line) {
  ShowInPlace(line);
}

Progress::~Progress() {
  ShowInPlace("");
}

}  // namespace devhost::program
