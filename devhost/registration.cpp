// What the host reads from the records that a plug-in registers.
#include <span>
#include <string>

#include "abi/declaration.h"
#include "devhost/state.h"

namespace devhost {
namespace {

using rastel::abi::ParameterRole;
using rastel::abi::ParseDeclaration;

/// Definitions of a higher version have the records of hosts from 2012.0 on.
constexpr std::int32_t kLastOldDefinition = 9;

/// What is registered belongs to the host for the life of the process, even when its plug-in is unloaded.
void Keep(const void* registered) {
  static auto* const kept = new std::vector<const void*>();
  kept->push_back(registered);
}

struct Owner {
  const char* route;
  const char* name;
  std::int32_t version;
  bool isPicture;  // its methods take a picture that their declarations do not name
};

/// Fills in what the declaration says.
void Parse(Registration& method) {
  method.name = method.declaration.substr(0, method.declaration.find('('));
  const auto declaration = ParseDeclaration(method.declaration);
  if (!declaration) {
    Complain("no declaration: " + method.declaration);
    return;
  }
  const std::span declared(declaration->parameters.data(), declaration->parameterCount);
  const bool namesPicture = !declared.empty() && declared[0].role == ParameterRole::kExtends;
  if (method.extendsPicture && !namesPicture) {
    method.parameters.push_back({"ref", rastel::abi::HostType::kPicture, {}});
  }
  for (const rastel::abi::Parameter& parameter : declared) {
    method.parameters.push_back(
        {std::string(parameter.name), parameter.type, std::optional<std::string>(parameter.defaultValue)});
  }
  method.extendsPicture = method.extendsPicture || namesPicture;
  method.result = declaration->result;
}

template <typename MethodRow>
void RegisterRow(const Owner& owner, const MethodRow& row) {
  if (!RequireAddress(row.declaration) || !RequireAddress(row.function)) {
    return;
  }
  if constexpr (requires { row.list; }) {
    if (row.count != 0 && row.list == nullptr) {
      Complain(std::string("a count without a list: ") + row.declaration);
    }
  }
  Keep(row.declaration);
  Registration& method = Entries::Methods().emplace_back(Registration{
      owner.route, owner.name, owner.version, row.declaration, row.flags, row.function, owner.isPicture});
  Parse(method);
}

template <typename MethodRow>
void RegisterRowsAs(const Owner& owner, const void* rows, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    RegisterRow(owner, static_cast<const MethodRow*>(rows)[i]);
  }
}

void RegisterRows(const Owner& owner, const REALmethodDefinition* rows, std::uint32_t count) {
  Keep(rows);
  if (owner.version > kLastOldDefinition) {
    RegisterRowsAs<REALmethodDefinition>(owner, rows, count);
  } else {
    RegisterRowsAs<OldMethodRow>(owner, rows, count);
  }
}

bool Accepts(std::int32_t definitionVersion, const char* name) {
  if (definitionVersion > kLastOldDefinition && Entries::State().version < 2012.0) {
    Complain("the definition is newer than the host");
    return false;
  }
  return RequireAddress(name);
}

}  // namespace

void RegisterMethod(REALmethodDefinition* method) {
  if (RequireAddress(method)) {
    RegisterRow({"PluginRegisterMethod", "", 0, false}, *method);
  }
}

void RegisterClassExtension(REALclassDefinition* definition) {
  if (!RequireAddress(definition) || !Accepts(definition->common.version, definition->common.name)) {
    return;
  }
  const OldClassDefinition& common = definition->common;
  Keep(common.name);
  Keep(common.properties);
  Keep(common.events);
  Keep(common.records18);
  Keep(common.sharedProperties);
  Keep(common.sharedMethods);
  const bool isPicture = rastel::abi::SameName(common.name, "Picture");
  RegisterRows({"PluginRegisterClassExtension", common.name, common.version, isPicture}, common.methods,
               common.methodCount);
}

void RegisterModule(REALmoduleDefinition* definition) {
  if (!RequireAddress(definition) || !Accepts(definition->common.version, definition->common.name)) {
    return;
  }
  Keep(definition);
  const OldModuleDefinition& common = definition->common;
  RegisterRows({"PluginRegisterModule", common.name, common.version, false}, common.methods,
               common.methodCount);
}

}  // namespace devhost
