// show: a method's overloads, and which bytes each of them moves where.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "rastel-host/bytes.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"

namespace devhost::program {
namespace {

constexpr const char* kShowHelp =
    R"(The bytes are those at the offsets 0 to 3: of the buffer, counted from `offset`, or of the first
row of the picture. They are found out by calling the method with random bytes, on hosts of all
pixel types unless one is chosen. "red" is a channel of the picture, "byte 2" one of the buffer's.
Examples:
  rastel-host show CopyXRGBtoMemoryblockKVZ
  rastel-host show MemoryblockGrayToPictureKVZ --pixel-type 12
)";

struct ShowOptions {
  HostSettings host;
  bool json = false;
  std::string method;
};

/// A row of the table of bytes: those on hosts of some pixel types.
struct Row {
  TracedBytes bytes;
  std::string types;  // "13, 12"

  std::string Label() const { return bytes.where + ", pixel type " + types; }
};

/// One overload, and what was found out.
struct Overload {
  std::string declaration;
  std::string signature;  // that, and a line for each argument
  std::vector<Row> rows;
  std::string problem;  // why there is no table
};

std::string SignatureOf(const Registration& method) {
  std::ostringstream text;
  text << Wrapped(method.declaration, 0, OutputWidth());
  for (const auto& [name, type, standard] : method.parameters) {
    text << "  " << std::left << std::setw(15) << name << ' ' << TypeName(type)
         << (standard ? " (" + *standard + ")" : "") << '\n';
  }
  return text.str();
}

void AddBytes(Overload& overload, const Session& session, const Registration& method, int pixelType) {
  try {
    for (const TracedBytes& bytes : TraceBytes(session.host(), method)) {
      const auto found = std::ranges::find(overload.rows, bytes, &Row::bytes);
      if (found == overload.rows.end()) {
        overload.rows.push_back({bytes, std::to_string(pixelType)});
      } else {
        found->types += ", " + std::to_string(pixelType);
      }
    }
  } catch (const std::exception& error) {
    overload.problem = error.what();
  }
}

std::vector<Overload> ObserveAll(const ShowOptions& options) {
  std::vector<int> types = {13, 12, 8};
  if (options.host.pixelType) {
    types = {*options.host.pixelType};
  } else if (options.host.kind) {
    types = *options.host.kind == Kind::kDesktop ? std::vector{13, 12} : std::vector{8};
  }
  std::vector<Overload> overloads;
  for (const int type : types) {
    HostSettings settings = options.host;
    settings.pixelType = type;
    const Session session(settings);
    const auto methods = session.MethodsNamed(options.method);
    for (std::size_t i = 0; i < methods.size(); ++i) {
      if (i == overloads.size()) {
        overloads.push_back({methods[i]->declaration, SignatureOf(*methods[i]), {}, {}});
      }
      AddBytes(overloads[i], session, *methods[i], type);
    }
  }
  return overloads;
}

/// The rows for one way to set the flags, under a line with the offsets.
void PrintTable(const std::vector<Row>& rows, const std::string& flags) {
  std::size_t label = 0, cell = 1;
  for (const Row& row : rows) {
    label = std::max(label, row.Label().size());
    for (const std::string& text : row.bytes.cells) {
      cell = std::max(cell, text.size());
    }
  }
  const auto print = [&](const std::string& name, const std::vector<std::string>& cells) {
    std::cout << "  " << std::left << std::setw(static_cast<int>(label)) << name;
    for (const std::string& text : cells) {
      std::cout << "  " << std::setw(&text == &cells.back() ? 0 : static_cast<int>(cell)) << text;
    }
    std::cout << '\n';
  };
  std::cout << '\n' << (flags.empty() ? "" : "  " + flags + ":\n");
  print("offset", {"0", "1", "2", "3"});
  for (const Row& row : rows) {
    if (row.bytes.flags == flags) {
      print(row.Label(), row.bytes.cells);
    }
  }
}

void Print(const Overload& overload) {
  std::cout << overload.signature;
  std::vector<std::string> printed;
  for (const Row& row : overload.rows) {
    if (std::ranges::find(printed, row.bytes.flags) == printed.end()) {
      printed.push_back(row.bytes.flags);
      PrintTable(overload.rows, row.bytes.flags);
    }
  }
  if (!overload.problem.empty()) {
    std::cout << "\n  no table of bytes: " << overload.problem << '\n';
  }
}

Json JsonOf(const Overload& overload) {
  Json rows = Json::array();
  for (const auto& [bytes, types] : overload.rows) {
    rows.push_back(
        {{"where", bytes.where}, {"pixelTypes", types}, {"flags", bytes.flags}, {"bytes", bytes.cells}});
  }
  return {{"declaration", overload.declaration}, {"rows", rows}, {"problem", overload.problem}};
}

Status RunShow(const ShowOptions& options) {
  const auto overloads = ObserveAll(options);
  if (options.json) {
    std::ranges::transform(overloads, std::back_inserter(Report()["overloads"]), JsonOf);
    PrintReport();
    return Status::kGood;
  }
  for (const Overload& overload : overloads) {
    std::cout << (&overload == &overloads.front() ? "" : "\n");
    Print(overload);
  }
  return Status::kGood;
}

}  // namespace

Work SetUpShow(CLI::App& app) {
  app.footer(kShowHelp);
  const auto options = std::make_shared<ShowOptions>();
  app.add_option("METHOD", options->method, "The method's name")->required();
  AddHost(app, options->host);
  AddJson(app, options->json);
  return [options] { return RunShow(*options); };
}

}  // namespace devhost::program
