// What the editors of pictures do that no method shows.
#include <array>
#include <memory>
#include <string_view>

#include "picture/description.h"
#include "picture/editor.h"
#include "picture/opaque_copy.h"
#include "unit_host.h"

namespace tests {
namespace {

using devhost::PixelFormat;
using rastel::DuplicatePictureWithoutMaskOrAlpha;
using rastel::PictureReader;
using rastel::PictureWriter;
using Copy = devhost::Ref<REALpictureStruct>;
using Lines = std::vector<std::string>;

/// All on one desktop host: its kind and its framework are learnt once in a process, by the first picture.
class Editor : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    shared = std::make_unique<LinkedHost>();
    PictureReader().GetPictureEditor(shared->NewPicture(1, 1).get(), true, false);
  }
  static void TearDownTestSuite() { shared.reset(); }

  Editor() : host(*shared) {
    host.trace.clear();
    host.complaints.clear();
  }
  ~Editor() override { host.onEntry = nullptr; }

  static inline std::unique_ptr<LinkedHost> shared;
  LinkedHost& host;
};

TEST_F(Editor, RendersAPictureFromABuffer) {
  Bytes buffer = NoiseBytes(60, 0);
  PictureWriter editor;
  EXPECT_EQ(nullptr, editor.RenderPictureWriter());
  EXPECT_TRUE(host.trace.empty());
  editor.Width = 4;
  editor.Height = 3;
  editor.RowBytes = 20;
  editor.PictureDescription.buffer = buffer.data();
  const Copy picture(editor.RenderPictureWriter());
  ASSERT_NE(nullptr, picture.get());
  EXPECT_EQ((Lines{"4", "3", "1", "address", "20"}), host.trace.at(0).arguments);
  EXPECT_EQ(1U, host.trace.size());
  EXPECT_EQ(Bytes(buffer.begin() + 20, buffer.begin() + 36), Bytes(picture->Row(1), picture->Row(1) + 16));
}

TEST_F(Editor, StepsFromRowToRowAndBackToTheFirst) {
  const NothingLost watch(host);
  const auto picture = host.NewPicture(2, 3);
  PictureReader reader;
  EXPECT_EQ((std::array<std::int32_t, 7>{}),
            (std::array{reader.RowBytes, reader.Width, reader.Height, reader.BytesPerPixel, reader.SpareWord,
                        reader.ColumnIndex, reader.RowIndex}));
  EXPECT_TRUE(reader.Picture == nullptr && reader.PixelType == nullptr);
  EXPECT_FALSE(reader.AllowCopyFlag || reader.ClearCacheOnClose || reader.DescriptionLocked);
  ASSERT_TRUE(reader.GetPictureEditor(picture.get(), true, false));
  EXPECT_EQ((std::array{2, 3, 4, 13}),
            (std::array{reader.Width, reader.Height, reader.BytesPerPixel, reader.PixelType->number}));
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
  const auto second = host.NewPicture(5, 1, PixelFormat::kWorld24);
  PictureReader reader;
  ASSERT_TRUE(reader.GetPictureEditor(first.get(), true, false));
  host.trace.clear();
  ASSERT_TRUE(reader.GetPictureEditor(second.get(), true, false));
  Lines entries = Entries(host);
  entries.resize(3);
  EXPECT_EQ((Lines{"UnlockPixels", "unlockPictureDescription", "REALUnlockObject"}), entries);
  EXPECT_EQ((std::array{12, 3}), (std::array{reader.PixelType->number, reader.BytesPerPixel}));
  EXPECT_FALSE(reader.GetPictureEditor(nullptr, true, false));
  EXPECT_EQ(nullptr, reader.Picture);
  // What the host said of an earlier picture does not count for the next.
  ASSERT_TRUE(reader.GetPictureEditor(first.get(), false, true));
  host.FailAt("lockPictureDescription");
  EXPECT_FALSE(reader.GetPictureEditor(second.get(), false, true));
}

TEST_F(Editor, OpensNoWorldWithoutAnAddress) {
  const auto picture = host.NewPicture(2, 3);
  PictureReader reader;
  host.onEntry = [&](std::string_view entry) {
    if (entry != "lockPictureDescription") {
      return devhost::Reaction::kAct;
    }
    reader.PictureDescription.type = kLegacyWorldDescription;
    return devhost::Reaction::kFail;
  };
  EXPECT_FALSE(reader.GetPictureEditor(picture.get(), true, false));
  EXPECT_EQ(0, CountCalls(host, "GetGWorldPixMap"));
  EXPECT_EQ(1, CountCalls(host, "unlockPictureDescription"));
}

TEST_F(Editor, OpensNoUnsupportedPictureForWritingOrWithoutACopy) {
  const NothingLost watch(host);
  const auto deep = host.NewPicture(2, 3, PixelFormat::kWorld16);
  const auto bitmap = host.NewPicture(2, 3, PixelFormat::kBitmap);
  EXPECT_FALSE(PictureWriter().GetPictureEditor(deep.get(), true, true));
  EXPECT_FALSE(PictureWriter().GetPictureEditor(bitmap.get(), true, true));
  EXPECT_FALSE(PictureWriter().GetPictureEditor(bitmap.get(), false, false));
  EXPECT_EQ(0, CountCalls(host, "newPicture"));
}

TEST_F(Editor, WritesNewPicturesUpToTheGreatestSize) {
  const NothingLost watch(host);
  for (const std::int32_t size : {-1, 0, 32767, 32768}) {
    EXPECT_EQ(size == 32767, PictureWriter().NewPictureWriter(size, 1)) << size;
    EXPECT_EQ(size == 32767, PictureWriter().NewPictureWriter(1, size)) << size;
  }
}

TEST(OpaqueCopies, CopyBitmapsOfTheSameSizeWithoutGraphics) {
  LinkedHost host(kConsole.Options());
  host.FailAt("pluginPictureGraphicsGetter");
  const auto picture = host.NewPicture(1, 4);
  FillWithNoise(*picture, 1);
  EXPECT_EQ(nullptr, DuplicatePictureWithoutMaskOrAlpha(nullptr, 1, 4));
  EXPECT_EQ(nullptr, DuplicatePictureWithoutMaskOrAlpha(picture.get(), 0, 4));
  EXPECT_EQ(nullptr, DuplicatePictureWithoutMaskOrAlpha(picture.get(), 1, -1));
  EXPECT_TRUE(host.trace.empty());
  const auto copied = [&](std::int32_t width, std::int32_t height) {
    return BytesOf(*Copy(DuplicatePictureWithoutMaskOrAlpha(picture.get(), width, height)));
  };
  EXPECT_EQ(BytesOf(*picture), copied(1, 4));
  EXPECT_EQ(Bytes(32), copied(2, 4));
  EXPECT_EQ(Bytes(12), copied(1, 3));
  picture->bitmap->word0 = 1;  // of no use
  EXPECT_EQ(Bytes(16), copied(1, 4));
}

TEST(Descriptions, AreOfUsableBitmapsOnly) {
  std::uint8_t* rows[] = {nullptr};
  const auto usable = std::make_unique<BitmapRecord>(BitmapRecord{.rowTable = rows});
  const auto unusable = std::make_unique<BitmapRecord>(BitmapRecord{.word0 = 1, .rowTable = rows});
  const auto rowless = std::make_unique<BitmapRecord>();
  const auto bitmapOf = [](std::int32_t type, BitmapRecord* record) {
    return rastel::BitmapOf({.type = type, .data = record});
  };
  EXPECT_EQ(usable.get(), bitmapOf(kBitmapDescription, usable.get()));
  EXPECT_EQ(nullptr, bitmapOf(kBitmapDescription, unusable.get()));
  EXPECT_EQ(nullptr, bitmapOf(kBitmapDescription, rowless.get()));
  EXPECT_EQ(nullptr, bitmapOf(kLegacyWorldDescription, usable.get()));
  EXPECT_EQ(nullptr, bitmapOf(kBitmapDescription, nullptr));
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
  for (const Run& run : {Run{0, 4, 4, false}, Run{0, 5, 5, true}, Run{0, 3, 3, false}, Run{3, 2, 2, false},
                         Run{2, 9, 4, true}, Run{5, 9, 1, false}}) {
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
