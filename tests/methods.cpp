#include "methods.h"

namespace tests {
namespace {

std::vector<Method> MakeGlobalMethods() {
  std::vector<Method> methods;
  for (const std::string source : {"Ptr", "Memoryblock"}) {
    const std::string type = source == "Ptr" ? "Ptr" : "memoryblock";
    const std::string buffer =
        "source as " + type + ", offset as integer, width as integer, height as integer";
    const std::string flip = ", FlipVertically as boolean=false";
    const std::string sample = ", PixelByteSize as integer";
    const auto add = [&](const std::string& name, const std::string& parameters, const std::string& layout) {
      methods.push_back({source + name, parameters, "picture", layout});
    };
    for (const std::string dest : {"dest as picture, ", ""}) {
      add("ARGBtoPictureKVZ", dest + buffer, "ARGB");
      add("ABGRtoPictureKVZ", dest + buffer, "ABGR");
      add("BGRAtoPictureKVZ", dest + buffer, "BGRA");
      add("RGBAtoPictureKVZ", dest + buffer + flip, "RGBA");
      add("BGRtoPictureKVZ", dest + buffer, "BGR");
      add("RGBtoPictureKVZ", dest + buffer, "RGB");
    }
    add("ARGBtoPictureKVZ", buffer + ", LittleEndian as boolean", "ARGB");
    add("GrayToPictureKVZ", buffer + sample, "Y");
    add("GrayToPictureKVZ", buffer + sample + ", Red as integer, Blue as integer, Green as integer", "Y");
    add("GrayToPictureKVZ", buffer + sample + ", Red() as integer, Blue() as integer, Green() as integer",
        "Y");
  }
  return methods;
}

std::vector<Method> MakePictureMethods() {
  const std::string block = "destination as memoryblock, offset as integer, ";
  const std::string alpha = block + "AlphaValue as integer, ";
  const std::string mask = block + "MaskForAlpha as picture, ";
  const std::string sample = block + "PixelByteSize as integer, ";
  const std::string endian = block + "LittleEndian as boolean, AlphaValue as integer, ";
  const std::string band =
      "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, DestRowBytes as integer = 0";
  return {
      {"CopyRGBtoMemoryblockKVZ", block + band, "boolean", "RGB"},
      {"CopyBGRtoMemoryblockKVZ", block + band, "boolean", "BGR"},
      {"CopyARGBtoMemoryblockKVZ", alpha + band, "boolean", "ARGB"},
      {"CopyABGRtoMemoryblockKVZ", alpha + band, "boolean", "ABGR"},
      {"CopyRGBAtoMemoryblockKVZ", alpha + band, "boolean", "RGBA"},
      {"CopyBGRAtoMemoryblockKVZ", alpha + band, "boolean", "BGRA"},
      {"CopyARGBtoMemoryblockKVZ", mask + band, "boolean", "MRGB"},
      {"CopyABGRtoMemoryblockKVZ", mask + band, "boolean", "MBGR"},
      {"CopyRGBAtoMemoryblockKVZ", mask + band, "boolean", "RGBM"},
      {"CopyBGRAtoMemoryblockKVZ", mask + band, "boolean", "BGRM"},
      {"CopyXRGBtoMemoryblockKVZ", block + band, "boolean", "XRGB"},
      {"CopyXBGRtoMemoryblockKVZ", block + band, "boolean", "XBGR"},
      {"CopyRGBXtoMemoryblockKVZ", block + band, "boolean", "RGBX"},
      {"CopyBGRXtoMemoryblockKVZ", block + band, "boolean", "BGRX"},
      {"CopyARGBtoMemoryblockKVZ", endian + band, "boolean", "ARGB"},
      {"CopyRtoMemoryblockKVZ", sample + band, "boolean", "R"},
      {"CopyGtoMemoryblockKVZ", sample + band, "boolean", "G"},
      {"CopyBtoMemoryblockKVZ", sample + band, "boolean", "B"},
  };
}

}  // namespace

bool Method::Has(std::string_view parameter) const {
  const std::size_t found = parameters.find(parameter);
  return found != std::string::npos && parameters.compare(found + parameter.size(), 3, " as") == 0;
}

std::vector<std::string> Method::ParameterNames() const {
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin < parameters.size();) {
    const std::size_t end = std::min(parameters.find(", ", begin), parameters.size());
    names.push_back(parameters.substr(begin, parameters.find(' ', begin) - begin));
    begin = end + 2;
  }
  return names;
}

const std::vector<Method>& GlobalMethods() {
  static const std::vector<Method> methods = MakeGlobalMethods();
  return methods;
}

const std::vector<Method>& PictureMethods() {
  static const std::vector<Method> methods = MakePictureMethods();
  return methods;
}

const std::vector<Method>& AllMethods() {
  static const std::vector<Method> methods = [] {
    std::vector<Method> all = PictureMethods();
    all.insert(all.end(), GlobalMethods().begin(), GlobalMethods().end());
    return all;
  }();
  return methods;
}

Arguments ArgumentsFor(const Method& method, const CallObjects& objects) {
  Arguments arguments = {
      {"self", objects.picture},      {"dest", objects.dest},         {"source", objects.block},
      {"destination", objects.block}, {"MaskForAlpha", objects.mask}, {"FlipVertically", true},
      {"LittleEndian", true},         {"Red()", objects.array},       {"Blue()", nullptr},
      {"Green()", objects.array},     {"width", objects.width},       {"height", objects.height},
      {"EndLine", std::int32_t{-1}}};
  for (const char* zero : {"offset", "StartLine", "DestRowBytes"}) {
    arguments[zero] = std::int32_t{0};
  }
  for (const char* one : {"Yield", "AlphaValue", "PixelByteSize", "Red", "Blue", "Green"}) {
    arguments[one] = std::int32_t{1};
  }
  if (method.ReadsPtr()) {
    arguments["source"] = devhost::Ptr{objects.block->bytes()};
  }
  return arguments;
}

devhost::CallResult Call(devhost::Host& host, const Method& method, const Arguments& arguments) {
  std::vector<devhost::Value> inOrder;
  if (method.result == "boolean") {
    inOrder.push_back(arguments.at("self"));
  }
  for (const std::string& name : method.ParameterNames()) {
    inOrder.push_back(arguments.at(name));
  }
  return host.Call(method.name, inOrder);
}

std::string TestName(const Method& method, std::size_t number) {
  return std::to_string(number) + "_" + method.name;
}

}  // namespace tests
