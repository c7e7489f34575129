// What the editors of pictures do that no method shows.
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include "picture/description.h"
#include "picture/editor.h"
#include "picture/opaque_copy.h"
#include "unit_host.h"

namespace tests {
namespace {

using rastel::PictureReader;
using rastel::PictureWriter;

/// All on one desktop host: its kind and its framework are learnt once in a process.
class Editor : public testing::Test {
 protected:
  static void SetUpTestSuite() { shared = std::make_unique<LinkedHost>(); }
  static void TearDownTestSuite() { shared.reset(); }

  Editor() : host(*shared) {
    host.trace.clear();
    host.complaints.clear();
  }

  static void ExpectNothingOpen(const rastel::PictureEditor& editor) {
    EXPECT_EQ(nullptr, editor.Picture);
    for (const std::int32_t number : {editor.RowBytes, editor.Width, editor.Height, editor.BytesPerPixel,
                                      editor.SpareWord, editor.ColumnIndex, editor.RowIndex}) {
      EXPECT_EQ(0, number);
    }
    EXPECT_EQ(nullptr, editor.PixelType);
    EXPECT_FALSE(editor.AllowCopyFlag || editor.ClearCacheOnClose || editor.DescriptionLocked);
  }

  static inline std::unique_ptr<LinkedHost> shared;
  LinkedHost& host;
};

TEST_F(Editor, RendersAPictureFromABuffer) {
  Bytes buffer(3 * 20);
  for (std::size_t i = 0; i < buffer.size(); ++i) {
    buffer[i] = Noise(i);
  }
  PictureWriter editor;
  EXPECT_EQ(nullptr, editor.RenderPictureWriter());
  EXPECT_TRUE(host.trace.empty());
  editor.Width = 4;
  editor.Height = 3;
  editor.RowBytes = 20;
  editor.PictureDescription.buffer = buffer.data();
  const devhost::Ref<REALpictureStruct> picture(editor.RenderPictureWriter());
  ASSERT_NE(nullptr, picture.get());
  EXPECT_EQ("REALBuildPictureFromBuffer(4, 3, 1, address, 20) = picture#1", Calls(host).front());
  EXPECT_EQ(1U, host.trace.size());
  EXPECT_EQ(Bytes(buffer.begin() + 20, buffer.begin() + 36), Bytes(picture->Row(1), picture->Row(1) + 16));
}

TEST_F(Editor, StepsFromRowToRowAndBackToTheFirst) {
  const NothingLost watch(host);
  const auto picture = host.NewPicture(2, 3);
  PictureReader reader;
  ExpectNothingOpen(reader);
  ASSERT_TRUE(reader.GetPictureEditor(picture.get(), true, false));
  EXPECT_EQ(2, reader.Width);
  EXPECT_EQ(3, reader.Height);
  EXPECT_EQ(4, reader.BytesPerPixel);
  EXPECT_EQ(13, reader.PixelType->number);
  EXPECT_EQ(picture->rowBytes, reader.RowBytes);
  for (const std::int32_t row : {0, 1, 2, 0, 0}) {
    EXPECT_EQ(picture->Row(row), reader.RowPtr);
    EXPECT_EQ(0, reader.ColumnIndex);
    reader.NextRow();
  }
  EXPECT_EQ(5, reader.RowIndex);
  EXPECT_FALSE(reader.GetPictureEditor(nullptr, true, false));
  EXPECT_EQ(0, reader.SpareWord);
}

TEST_F(Editor, LetsGoOfThePictureBeforeTheNext) {
  const NothingLost watch(host);
  const auto first = host.NewPicture(2, 3);
  const auto second = host.NewPicture(5, 1, devhost::PixelFormat::kWorld24);
  PictureReader reader;
  ASSERT_TRUE(reader.GetPictureEditor(first.get(), true, false));
  ASSERT_TRUE(reader.GetPictureEditor(second.get(), true, false));
  EXPECT_EQ(1, first->references);
  EXPECT_EQ(0, first->pixelLocks + first->descriptionLocks);
  EXPECT_EQ(2, second->references);
  EXPECT_EQ(1, second->pixelLocks);
  EXPECT_EQ(12, reader.PixelType->number);
  EXPECT_EQ(3, reader.BytesPerPixel);
  host.trace.clear();
  EXPECT_FALSE(reader.GetPictureEditor(nullptr, true, false));
  EXPECT_EQ((std::vector<std::string>{"UnlockPixels(pixels of picture#1)",
                                      "unlockPictureDescription(picture#1)", "REALUnlockObject(picture#1)"}),
            Calls(host));
  EXPECT_EQ(nullptr, reader.Picture);
}

TEST_F(Editor, TakesNoDescriptionOfAnEarlierPictureForThatOfTheNext) {
  const NothingLost watch(host);
  const auto first = host.NewPicture(2, 3);
  const auto second = host.NewPicture(2, 3);
  PictureReader reader;
  ASSERT_TRUE(reader.GetPictureEditor(first.get(), false, true));
  host.onEntry = [](std::string_view entry) {
    return entry == "lockPictureDescription" ? devhost::Reaction::kFail : devhost::Reaction::kAct;
  };
  EXPECT_FALSE(reader.GetPictureEditor(second.get(), false, true));
  host.onEntry = nullptr;
}

TEST_F(Editor, OpensNoWorldWithoutAnAddress) {
  const auto picture = host.NewPicture(2, 3);
  rastel::gResolver = [](const char* name) -> void* {
    void (*const describe)(REALpictureStruct*, REALpictureDescription*) =
        [](REALpictureStruct*, REALpictureDescription* description) {
          *description = {kLegacyWorldDescription, nullptr, 2, 3, 0, 0, nullptr};
        };
    return name == std::string_view("lockPictureDescription") ? reinterpret_cast<void*>(describe)
                                                              : devhost::Host::Resolve(name);
  };
  std::construct_at(&rastel::REALLockPictureDescriptionWithNativeType);
  PictureReader reader;
  EXPECT_FALSE(reader.GetPictureEditor(picture.get(), true, false));
  EXPECT_EQ(0, CountCalls(host, "GetGWorldPixMap"));
  EXPECT_EQ(1, CountCalls(host, "unlockPictureDescription"));
  rastel::gResolver = &devhost::Host::Resolve;
  std::construct_at(&rastel::REALLockPictureDescriptionWithNativeType);
}

TEST_F(Editor, OpensNoUnsupportedPictureForWritingOrWithoutACopy) {
  const NothingLost watch(host);
  const auto deep = host.NewPicture(2, 3, devhost::PixelFormat::kWorld16);
  const auto bitmap = host.NewPicture(2, 3, devhost::PixelFormat::kBitmap);
  PictureWriter writer;
  EXPECT_FALSE(writer.GetPictureEditor(deep.get(), false, true));
  EXPECT_FALSE(writer.GetPictureEditor(deep.get(), true, true));
  EXPECT_FALSE(writer.GetPictureEditor(bitmap.get(), true, true));
  EXPECT_FALSE(writer.GetPictureEditor(bitmap.get(), false, false));
  EXPECT_EQ(0, CountCalls(host, "newPicture"));
}

TEST_F(Editor, WritesNewPicturesUpToTheGreatestSize) {
  const NothingLost watch(host);
  for (const std::int32_t size : {0, -1, 32768}) {
    EXPECT_FALSE(PictureWriter().NewPictureWriter(size, 1));
    EXPECT_FALSE(PictureWriter().NewPictureWriter(1, size));
  }
  PictureWriter writer;
  EXPECT_TRUE(writer.NewPictureWriter(32767, 1));
  EXPECT_TRUE(writer.NewPictureWriter(1, 32767));
}

TEST_F(Editor, CopiesTheTopLeftCornerWithoutTheMask) {
  const NothingLost watch(host);
  const auto picture = host.NewPicture(5, 4, devhost::PixelFormat::kBitmap);
  const auto mask = host.NewPicture(5, 4);
  FillWithNoise(*picture, 1);
  FillWithNoise(*mask, 2);
  picture->SetMask(mask.get());
  const devhost::Ref<REALpictureStruct> copy(rastel::DuplicatePictureWithoutMaskOrAlpha(picture.get(), 3, 2));
  ASSERT_NE(nullptr, copy.get());
  EXPECT_EQ(mask.get(), picture->mask);
  EXPECT_EQ(nullptr, copy->mask);
  EXPECT_EQ(3, copy->width);
  EXPECT_EQ(2, copy->height);
  for (const std::int32_t y : {0, 1}) {
    for (const std::int32_t x : {0, 1, 2}) {
      EXPECT_EQ(picture->At(x, y).red, copy->At(x, y).red);
      EXPECT_EQ(picture->At(x, y).blue, copy->At(x, y).blue);
    }
  }
}

TEST_F(Editor, CopiesNothingOfNoSize) {
  const auto picture = host.NewPicture(5, 4);
  EXPECT_EQ(nullptr, rastel::DuplicatePictureWithoutMaskOrAlpha(nullptr, 3, 2));
  EXPECT_EQ(nullptr, rastel::DuplicatePictureWithoutMaskOrAlpha(picture.get(), 0, 2));
  EXPECT_EQ(nullptr, rastel::DuplicatePictureWithoutMaskOrAlpha(picture.get(), 3, -1));
  EXPECT_TRUE(host.trace.empty());
}

TEST(OpaqueCopies, CopyBitmapsOfTheSameSizeWithoutGraphics) {
  LinkedHost host(kConsole.Options());
  host.onEntry = [](std::string_view entry) {
    return entry == "pluginPictureGraphicsGetter" ? devhost::Reaction::kFail : devhost::Reaction::kAct;
  };
  const auto picture = host.NewPicture(1, 4);
  FillWithNoise(*picture, 1);
  for (const auto& [width, height] : {std::pair{1, 4}, std::pair{2, 4}, std::pair{1, 3}}) {
    const devhost::Ref<REALpictureStruct> copy(
        rastel::DuplicatePictureWithoutMaskOrAlpha(picture.get(), width, height));
    ASSERT_NE(nullptr, copy.get());
    const bool isWhole = width == 1 && height == 4;
    EXPECT_EQ(isWhole ? picture->At(0, 2).red : 0, copy->At(0, 2).red) << width << " x " << height;
  }
}

TEST(Descriptions, AreOfUsableBitmapsOnly) {
  std::uint8_t* rows[] = {nullptr};
  const auto record = std::make_unique<BitmapRecord>();
  record->rowTable = rows;
  REALpictureDescription description{.type = kBitmapDescription, .data = record.get()};
  EXPECT_EQ(record.get(), rastel::BitmapOf(description));
  record->word0 = 1;
  EXPECT_EQ(nullptr, rastel::BitmapOf(description));
  record->word0 = 0;
  description.type = kLegacyWorldDescription;
  EXPECT_EQ(nullptr, rastel::BitmapOf(description));
  description = {.type = kBitmapDescription, .data = nullptr};
  EXPECT_EQ(nullptr, rastel::BitmapOf(description));
}

TEST(RowRuns, MayLeadAroundTheEndOfTheAddresses) {
  PictureReader reader;
  reader.PixelType = &rastel::kPixelType13;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): nobody reads there
  reader.BaseAddress = reinterpret_cast<std::uint8_t*>(std::uintptr_t{16});
  reader.RowBytes = std::numeric_limits<std::int32_t>::min();
  reader.Height = 9;
  reader.SkipRows(3);
  EXPECT_EQ(std::uintptr_t{16} - 3 * (std::uintptr_t{1} << 31),
            reinterpret_cast<std::uintptr_t>(reader.RowPtr));
  EXPECT_EQ(reader.RowBytes, reader.PeekRows(2).starts.step);
}

TEST(RowRuns, AreTablesWhereRowsAreNotEquallySpaced) {
  std::uint8_t memory[40];
  std::uint8_t* table[] = {memory, memory + 8, memory + 16, memory + 24, memory + 30, memory + 22};
  PictureReader reader;
  reader.PixelType = &rastel::kPixelType8;
  reader.RowTable = table;
  reader.Height = 6;
  struct Run {
    std::int32_t first, most, count;
    bool isTable;
  };
  for (const Run& run : {Run{0, 4, 4, false}, Run{0, 5, 5, true}, Run{0, 3, 3, false}, Run{1, 3, 3, false},
                         Run{3, 2, 2, false}, Run{2, 9, 4, true}, Run{5, 9, 1, false}}) {
    reader.RowIndex = 0;
    reader.SkipRows(run.first);
    const auto [starts, count] = reader.PeekRows(run.most);
    EXPECT_EQ(run.count, count);
    EXPECT_EQ(run.isTable, starts.table != nullptr);
    for (std::int32_t row = 0; row < count; ++row) {
      EXPECT_EQ(table[run.first + row], starts[row]) << run.first << " + " << row;
    }
  }
}

}  // namespace
}  // namespace tests
