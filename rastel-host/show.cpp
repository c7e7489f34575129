// show: a method's overloads, and which bytes each of them moves where.
#include <algorithm>
#include <iomanip>
#include <iostream>

#include "abi/declaration.h"
#include "rastel-host/bytes.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/verbs.h"

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
  std::string method;
};

/// A row of the table of bytes: those on hosts of some pixel types.
struct Row {
  TracedBytes bytes;
  std::string types;  // "13, 12"
};

/// One overload, and what was found out.
struct Overload {
  std::string declaration;
  bool extendsPicture;
  std::vector<Row> rows;
  std::string problem;  // why there is no table
};

void AddBytes(Overload& overload, const Session& session, const Registration& method, int pixelType) {
  try {
    for (const TracedBytes& bytes : TraceBytes(session, method)) {
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

/// Adds what a host of one pixel type shows.
void Observe(const Session& session, int pixelType, const std::string& name,
             std::vector<Overload>& overloads) {
  std::size_t next = 0;
  for (const Registration& method : session->methods()) {
    if (!rastel::abi::SameName(NameOf(method), name)) {
      continue;
    }
    if (next == overloads.size()) {
      overloads.push_back({method.declaration, method.extendsPicture, {}, {}});
    }
    AddBytes(overloads[next++], session, method, pixelType);
  }
  if (next == 0) {
    throw session.NoMethod(name);
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
    HostSettings typed = options.host;
    typed.pixelType = type;
    Observe(Session(typed), type, options.method, overloads);
  }
  return overloads;
}

std::string TypeName(rastel::abi::HostType type) {
  constexpr const char* kNames[] = {"integer", "boolean", "Ptr", "Picture", "MemoryBlock", "integer array"};
  return kNames[static_cast<std::size_t>(type)];
}

struct Argument {
  std::string name, type, standard;
};

std::vector<Argument> ArgumentsOf(const Overload& overload) {
  std::vector<Argument> arguments;
  const auto declaration = rastel::abi::ParseDeclaration(overload.declaration);
  const std::size_t count = declaration ? declaration->parameterCount : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto& parameter = declaration->parameters[i];
    arguments.push_back({std::string(parameter.name), TypeName(parameter.type),
                         std::string(parameter.defaultValue.value_or(""))});
  }
  const bool isNamed = count > 0 && declaration->parameters[0].role == rastel::abi::ParameterRole::kExtends;
  if (overload.extendsPicture && !isNamed) {
    arguments.insert(arguments.begin(), {"ref", "Picture", ""});
  }
  return arguments;
}

std::string LabelOf(const Row& row) {
  return row.bytes.where + ", pixel type " + row.types;
}

/// The rows for one way to set the flags, under a line with the offsets.
void PrintTable(const std::vector<Row>& rows, const std::string& flags) {
  std::size_t label = 0, cell = 1;
  for (const Row& row : rows) {
    label = std::max(label, LabelOf(row).size());
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
      print(LabelOf(row), row.bytes.cells);
    }
  }
}

void Print(const Overload& overload) {
  std::cout << Wrapped(overload.declaration, 0, OutputWidth());
  for (const Argument& argument : ArgumentsOf(overload)) {
    std::cout << "  " << std::left << std::setw(15) << argument.name << ' ' << argument.type
              << (argument.standard.empty() ? "" : " (" + argument.standard + ")") << '\n';
  }
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

Status RunShow(const ShowOptions& options) {
  const auto overloads = ObserveAll(options);
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
  return [options] { return RunShow(*options); };
}

}  // namespace devhost::program
