// What each method has to do to every byte, held against expectations that know nothing of the plug-in.
#include <algorithm>
#include <iterator>

#include "rastel-host/check.h"
#include "rastel-host/expectation.h"
#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

/// Widths around the sizes of vectors, and wide enough for several.
constexpr std::int32_t kWidths[] = {1, 2, 3, 5, 15, 16, 17, 31, 32, 33, 47, 63, 64, 65, 97, 130, 200};

std::string SizeText(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// A palette that every byte has a value in, some of them out of range, or a short one, or nil.
oracle::Palette RandomPalette(Noise& noise) {
  const std::int32_t kind = noise.From(0, 3);
  if (kind == 0) {
    return std::nullopt;
  }
  std::vector<std::int32_t> elements(static_cast<std::size_t>(kind == 1 ? noise.From(0, 90) : 256 + kind));
  std::ranges::generate(elements, [&] { return noise.From(-40, 300); });
  return elements;
}

Plan RandomPlan(const Form& form, std::int32_t width, Noise& noise) {
  Plan plan;
  plan.size = {width, noise.From(1, 4)};
  plan.otherSize = {std::max(width + noise.From(-3, 9), 1), noise.From(1, 6)};
  plan.offset = noise.From(0, 5);
  plan.step = form.HasStep() ? noise.From(1, 5) : 1;
  plan.alpha = noise.From(form.variant == Variant::kEndian ? -100 : 0, 300);
  plan.flag = noise.From(0, 1) == 1;
  const Size size = form.variant == Variant::kMask ? plan.otherSize : plan.size;
  if (noise.From(0, 2) == 0) {
    plan.band.first = noise.From(0, size.height);
    plan.band.last = plan.band.first + noise.From(0, 2);
  }
  const std::int32_t packed = size.width * LayoutOf(form, plan).pixelBytes;
  plan.rowBytes = plan.step == 1 && noise.From(0, 1) == 0 ? 0 : packed + noise.From(0, 9);
  std::ranges::generate(plan.weights, [&] { return noise.From(-300, 600); });
  std::ranges::generate(plan.palettes, [&] { return RandomPalette(noise); });
  return plan;
}

std::vector<std::uint8_t> BytesOf(REALmemoryBlockStruct& block) {
  return {block.bytes(), block.bytes() + block.size};
}

/// Calls the method and tells the exceptions that it should not have raised.
CallResult Call(Trial& trial, Host& host, const Form& form, const Plan& plan, const Scene& scene) {
  CallResult result = host.Call(form.method, ArgumentsOf(form, plan, scene));
  trial.Expect(!result.exception, result.exception ? ExceptionText(*result.exception) : "");
  return result;
}

void CheckToBuffer(Trial& trial, Host& host, const Form& form, const Plan& plan, const Scene& scene) {
  const Image source = ImageOf(*scene.picture);
  const Image mask = scene.mask ? ImageOf(*scene.mask) : Image();
  const Layout layout = LayoutOf(form, plan);
  CopyBack copy{plan.band, plan.rowBytes, {}, scene.mask ? &mask : nullptr};
  if (layout.fourth == Fourth::kAlpha) {
    copy.alpha = static_cast<std::uint8_t>(plan.alpha);
  }
  const auto untouched = static_cast<std::uint8_t>(trial.noise.Next());
  std::fill_n(scene.block->bytes(), scene.block->size, untouched);
  trial.Expect(Call(trial, host, form, plan, scene).boolean, "the result is false");

  const auto block = BytesOf(*scene.block);
  const auto buffer = block.begin() + plan.offset;
  trial.Expect(std::all_of(block.begin(), buffer, [&](std::uint8_t byte) { return byte == untouched; }),
               "a byte ahead of the offset was written");
  auto expected = ExpectedBuffer(source, layout, copy, untouched);
  expected.resize(static_cast<std::size_t>(block.end() - buffer));
  const Image& sized = scene.mask ? mask : source;
  const auto difference =
      FirstDifference(expected, {buffer, block.end()},
                      ShapeOf({sized.width, sized.height}, layout, plan.band, plan.rowBytes), layout);
  trial.Expect(!difference, difference.value_or(""));
  trial.Expect(!Compare(source, ImageOf(*scene.picture)), "the picture that is read was written");
}

/// What the buffer shows, weighed or looked up where the form does.
Image Shown(const Form& form, const Plan& plan, const Scene& scene) {
  const Layout layout = LayoutOf(form, plan);
  const auto block = BytesOf(*scene.block);
  Image shown =
      Unpack({block.begin() + plan.offset, block.end()}, std::int64_t{plan.size.width} * layout.pixelBytes,
             plan.size.width, plan.size.height, layout);
  for (Rgba& pixel : shown.pixels) {
    if (form.variant == Variant::kWeights) {
      pixel = Weighted(pixel.green, plan.weights);
    } else if (form.variant == Variant::kPalettes) {
      pixel = LookedUp(pixel.green, plan.palettes);
    }
  }
  return shown;
}

void CheckToPicture(Trial& trial, Host& host, const Form& form, const Plan& plan, const Scene& scene) {
  const bool fills =
      scene.picture && plan.otherSize.width >= plan.size.width && plan.otherSize.height >= plan.size.height;
  const Image before = scene.picture ? ImageOf(*scene.picture) : Image();
  const auto block = BytesOf(*scene.block);
  const CallResult result = Call(trial, host, form, plan, scene);
  trial.Expect(block == BytesOf(*scene.block), "the buffer that is read was written");
  trial.Expect(static_cast<bool>(result.picture), "the result is nil");
  if (!result.picture) {
    return;
  }
  trial.Expect((result.picture.get() == scene.picture.get()) == fills, "the result is the wrong picture");
  if (scene.picture && !fills) {
    trial.Expect(!Compare(before, ImageOf(*scene.picture)), "a picture that is too small was written");
  }
  const std::uint8_t fourth = result.picture->format == PixelFormat::kWorld32 ? 255 : 0;
  const Image expected =
      ExpectedPicture(Shown(form, plan, scene), form.Flips() && plan.flag, fourth, fills ? &before : nullptr);
  const Image got = ImageOf(*result.picture);
  const bool sameSize = got.width == expected.width && got.height == expected.height;
  trial.Expect(sameSize, "the picture has the size " + SizeText({got.width, got.height}));
  const auto difference = sameSize ? Compare(expected, got) : std::nullopt;
  trial.Expect(!difference, difference ? difference->Text() : "");
  trial.Expect(result.picture->SurroundingsIntact(), "bytes outside the picture's pixels were written");
}

void CheckContract(Trial& trial, const Form& form) {
  trial.host.guarded = true;
  const auto host = OpenHost(trial.host);
  const Balance before = host->CurrentBalance();
  for (const std::int32_t width : kWidths) {
    const Plan plan = RandomPlan(form, width, trial.noise);
    trial.where = SizeText(plan.size) + ", offset " + std::to_string(plan.offset) + ", " +
                  (form.variant == Variant::kMask || form.variant == Variant::kDest
                       ? "mask or destination " + SizeText(plan.otherSize) + ", "
                       : "") +
                  std::to_string(LayoutOf(form, plan).pixelBytes) + " bytes a pixel: ";
    const Scene scene(*host, form, plan, SourceFormat(trial.host), trial.noise.Next());
    (form.toPicture ? CheckToPicture : CheckToBuffer)(trial, *host, form, plan, scene);
    trial.Expect(scene.block->SurroundingsIntact(), "bytes outside the block were written");
  }
  trial.where.clear();
  trial.Expect(Losses(*host, before));
}

/// A bad argument, and the exception that it raises; without a class, the result is false and nothing else.
struct BadArgument {
  const char* name;
  Value value;
  const char* className;
  const char* message;
};

std::vector<BadArgument> BadArgumentsOf(const Form& form) {
  constexpr const char* kNil = "NilObjectException";
  constexpr const char* kUnsupported = "UnsupportedOperationException";
  const BadArgument offset{"offset", std::int32_t{-1}, kUnsupported, "offset is too small. Must be >=0."};
  if (form.toPicture) {
    return {{"source", nullptr, kNil, "Memoryblock is nil"},
            {"width", std::int32_t{0}, kUnsupported, "width is too small. Must be >0."},
            {"height", std::int32_t{-3}, kUnsupported, "height is too small. Must be >0."},
            offset};
  }
  std::vector<BadArgument> bad = {
      {"EndLine", std::int32_t{-2}, nullptr, nullptr},      {"StartLine", std::int32_t{-1}, nullptr, nullptr},
      {"DestRowBytes", std::int32_t{-1}, nullptr, nullptr}, {"ref", nullptr, kNil, "Picture is nil"},
      {"destination", nullptr, kNil, "Memoryblock is nil"}, offset};
  if (form.variant == Variant::kMask) {
    bad.push_back({"MaskForAlpha", nullptr, kNil, "Mask Picture is nil"});
  }
  return bad;
}

void CheckArguments(Trial& trial, const Form& form) {
  const auto host = OpenHost(trial.host);
  const Plan plan;
  const Scene scene(*host, form, plan, SourceFormat(trial.host), trial.noise.Next());
  for (const BadArgument& bad : BadArgumentsOf(form)) {
    trial.where = std::string("bad ") + bad.name + ": ";
    Arguments arguments = ArgumentsOf(form, plan, scene);
    std::ranges::find(arguments.named, bad.name, &std::pair<std::string, Value>::first)->second = bad.value;
    const auto block = BytesOf(*scene.block);
    const Balance before = host->CurrentBalance();
    const CallResult result = host->Call(form.method, arguments);
    const std::string raised = result.exception ? ExceptionText(*result.exception) : "no exception";
    const std::string wanted =
        bad.className == nullptr ? "no exception" : std::string(bad.className) + ": " + bad.message;
    trial.Expect(raised == wanted, "expected " + wanted + ", got " + raised);
    trial.Expect(!result.picture && !result.boolean, "the call succeeded");
    trial.Expect(block == BytesOf(*scene.block), "the block was written");
    trial.Expect(Losses(*host, before));
  }
}

}  // namespace

void AddContracts(std::vector<Check>& checks) {
  for (const Form& form : AllForms()) {
    for (const int pixelType : {8, 12, 13, 16}) {
      if (form.toPicture && pixelType == 16) {
        continue;  // no picture is made of those
      }
      checks.push_back({"contract/" + form.Key() + "/" + std::to_string(pixelType),
                        "Every byte of pictures of pixel type " + std::to_string(pixelType) +
                            " and of buffers is as it has to be, and no other byte is touched.",
                        [&form, pixelType](Trial& trial) {
                          trial.host.pixelType = pixelType;
                          CheckContract(trial, form);
                        },
                        pixelType});
    }
  }
  for (const Form& form : AllForms()) {
    checks.push_back({"arguments/" + form.Key(),
                      "Arguments out of range and nil raise their exception, and nothing happens.",
                      [&form](Trial& trial) { CheckArguments(trial, form); }});
  }
}

}  // namespace devhost::program
