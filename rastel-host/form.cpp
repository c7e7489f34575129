#include "rastel-host/form.h"

#include <algorithm>
#include <string_view>

#include "abi/declaration.h"
#include "rastel-host/session.h"

namespace devhost::program {
namespace {

constexpr std::string_view kSuffixes[] = {"", "-dest", "-endian", "-weights", "-palettes", "-mask"};

void AddToBuffer(std::vector<Form>& forms) {
  for (const Layout& layout : Layouts()) {
    if (layout.name == "gray") {
      continue;  // its method is that of the green channel
    }
    const std::string method(layout.toBuffer);
    forms.push_back({method, Variant::kPlain, &layout, false});
    if (layout.fourth == Fourth::kAlpha) {
      forms.push_back({method, Variant::kMask, &layout, false});
    }
    if (layout.name == "ARGB") {
      forms.push_back({method, Variant::kEndian, &layout, false});
    }
  }
}

std::vector<Variant> VariantsToPicture(const Layout& layout) {
  if (layout.name == "gray") {
    return {Variant::kPlain, Variant::kWeights, Variant::kPalettes};
  }
  if (layout.name == "ARGB") {
    return {Variant::kPlain, Variant::kDest, Variant::kEndian};
  }
  return {Variant::kPlain, Variant::kDest};
}

void AddToPicture(std::vector<Form>& forms) {
  for (const std::string source : {"Ptr", "Memoryblock"}) {
    for (const Layout& layout : Layouts()) {
      // The methods of the other layouts are those of one with alpha, or of gray.
      if (layout.fourth == Fourth::kPadding || (layout.OneChannel() && layout.name != "gray")) {
        continue;
      }
      for (const Variant variant : VariantsToPicture(layout)) {
        forms.push_back({source + std::string(layout.toPicture), variant, &layout, true});
      }
    }
  }
}

void Fill(REALmemoryBlockStruct& block, Noise& noise) {
  std::generate_n(block.bytes(), block.size, [&] { return static_cast<std::uint8_t>(noise.Next()); });
}

}  // namespace

std::string Form::Key() const {
  return method + std::string(kSuffixes[static_cast<std::size_t>(variant)]);
}

const std::vector<Form>& AllForms() {
  static const std::vector<Form> forms = [] {
    std::vector<Form> made;
    AddToBuffer(made);
    AddToPicture(made);
    return made;
  }();
  return forms;
}

std::string KeyOf(std::string_view text) {
  using rastel::abi::HostType;
  const auto declaration = rastel::abi::ParseDeclaration(text);
  if (!declaration) {
    return std::string(text);
  }
  Variant variant = Variant::kPlain;
  for (std::size_t i = 0; i < declaration->parameterCount; ++i) {
    const auto& [name, type, role, defaultValue] = declaration->parameters[i];
    variant = name == "dest"               ? Variant::kDest
              : name == "LittleEndian"     ? Variant::kEndian
              : name == "MaskForAlpha"     ? Variant::kMask
              : name != "Red"              ? variant
              : type == HostType::kInteger ? Variant::kWeights
                                           : Variant::kPalettes;
  }
  return Form{std::string(declaration->name), variant, nullptr, false}.Key();
}

Layout LayoutOf(const Form& form, const Plan& plan) {
  Layout layout = *form.layout;
  if (form.variant == Variant::kEndian) {
    // An alpha that is no byte leaves the byte as it was.
    const bool writes = form.toPicture || (plan.alpha >= 0 && plan.alpha <= 255);
    layout = LayoutNamed(plan.flag ? (writes ? "BGRA" : "BGRX") : (writes ? "ARGB" : "XRGB"));
  }
  if (form.HasStep()) {
    layout.pixelBytes = plan.step;
  }
  return layout;
}

std::int64_t BufferBytes(const Form& form, const Plan& plan) {
  const Layout layout = LayoutOf(form, plan);
  const BufferShape shape = form.toPicture
                                ? ShapeOf(plan.size, layout, {0, -1}, 0)
                                : ShapeOf(form.variant == Variant::kMask ? plan.otherSize : plan.size, layout,
                                          plan.band, plan.rowBytes);
  const std::int64_t last =
      std::int64_t{shape.width} * layout.pixelBytes - (form.HasStep() ? layout.pixelBytes - 1 : 0);
  return shape.rows == 0 ? plan.offset : plan.offset + shape.stride * (shape.rows - 1) + last;
}

Scene::Scene(Host& host, const Form& form, const Plan& plan, PixelFormat format, std::uint64_t seed) {
  Noise noise(seed);
  if (!form.toPicture) {
    picture = MakePicture(host, noise.Picture(plan.size), format);
  } else if (form.variant == Variant::kDest) {
    picture = MakePicture(host, noise.Picture(plan.otherSize), host.NewPicture(1, 1)->format);
  }
  if (form.variant == Variant::kMask) {
    mask = MakePicture(host, noise.Picture(plan.otherSize), host.NewPicture(1, 1)->format);
  }
  block = host.NewMemoryBlock(static_cast<std::int32_t>(BufferBytes(form, plan)));
  Fill(*block, noise);
  for (std::size_t i = 0; form.variant == Variant::kPalettes && i < arrays.size(); ++i) {
    if (plan.palettes[i]) {
      arrays[i] = host.NewIntegerArray(*plan.palettes[i]);
    }
  }
}

Arguments ArgumentsOf(const Form& form, const Plan& plan, const Scene& scene) {
  Arguments arguments;
  auto& named = arguments.named;
  if (!form.toPicture) {
    named = {{"ref", scene.picture.get()},
             {"destination", scene.block.get()},
             {"StartLine", plan.band.first},
             {"EndLine", plan.band.last},
             {"DestRowBytes", plan.rowBytes}};
    if (form.variant == Variant::kMask) {
      named.emplace_back("MaskForAlpha", scene.mask.get());
    } else if (form.layout->fourth == Fourth::kAlpha) {
      named.emplace_back("AlphaValue", plan.alpha);
    }
  } else {
    named = {{"source", form.ReadsPtr() ? Value(Ptr{scene.block->bytes()}) : Value(scene.block.get())},
             {"width", plan.size.width},
             {"height", plan.size.height}};
    if (form.variant == Variant::kDest) {
      named.emplace_back("dest", scene.picture.get());
    }
    if (form.Flips()) {
      named.emplace_back("FlipVertically", plan.flag);
    }
  }
  named.emplace_back("offset", plan.offset);
  if (form.variant == Variant::kEndian) {
    named.emplace_back("LittleEndian", plan.flag);
  }
  if (form.HasStep()) {
    named.emplace_back("PixelByteSize", plan.step);
  }
  // The argument called Blue drives green, and the one called Green drives blue.
  constexpr const char* kChannels[] = {"Red", "Blue", "Green"};
  for (std::size_t i = 0; i < 3; ++i) {
    if (form.variant == Variant::kWeights) {
      named.emplace_back(kChannels[i], plan.weights[i]);
    } else if (form.variant == Variant::kPalettes) {
      named.emplace_back(kChannels[i], scene.arrays[i].get());
    }
  }
  return arguments;
}

std::uint32_t Noise::Next() {
  state_ += 0x9E3779B97F4A7C15;
  std::uint64_t mixed = state_;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
  return static_cast<std::uint32_t>(mixed >> 32);
}

std::int32_t Noise::From(std::int32_t least, std::int32_t most) {
  return least + static_cast<std::int32_t>(Next() % (static_cast<std::uint32_t>(most - least) + 1));
}

Image Noise::Picture(Size size) {
  Image image(size.width, size.height);
  for (Rgba& pixel : image.pixels) {
    const std::uint32_t bits = Next();
    pixel = {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
             static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 24)};
  }
  return image;
}

}  // namespace devhost::program
