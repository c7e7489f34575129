#include "registration/tables.h"

#include "abi/declaration.h"
#include "to_buffer/methods.h"
#include "to_picture/methods.h"

namespace rastel {
namespace {

/// A declaration that fits the type of its function: the compiler refuses others.
template <typename Result, typename... Arguments>
struct Declared {
  // NOLINTNEXTLINE(google-explicit-constructor): a row of the tables is to show the text alone
  consteval Declared(const char* declaration) : text(declaration) {
    if (!abi::Declares<Result, Arguments...>(declaration)) {
      throw "the declaration does not fit the function";
    }
  }
  const char* text;
};

REALmethodDefinition Row(void* function, const char* declaration) {
  return {function, nullptr, declaration, kNewHostsOnly, 0, nullptr};
}

template <typename Result, typename... Arguments>
REALmethodDefinition Global(Result (*function)(Arguments...),
                            std::type_identity_t<Declared<Result, Arguments...>> declaration) {
  return Row(reinterpret_cast<void*>(function), declaration.text);
}

/// A method of Picture: the picture itself comes before the declared arguments.
template <typename Result, typename... Arguments>
REALmethodDefinition OfPicture(Result (*function)(REALpictureStruct*, Arguments...),
                               std::type_identity_t<Declared<Result, Arguments...>> declaration) {
  return Row(reinterpret_cast<void*>(function), declaration.text);
}

}  // namespace

// What many declarations have in common.
#define SIZE "offset as integer, width as integer, height as integer"
#define FROM_PTR "source as Ptr, " SIZE
#define FROM_BLOCK "source as memoryblock, " SIZE
#define TO_BLOCK "destination as memoryblock, offset as integer"
#define BAND \
  "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, DestRowBytes as integer = 0"

REALmethodDefinition globalMethods[kGlobalMethodCount] = {
    Global(PtrARGBtoPictureKVZdest, "PtrARGBtoPictureKVZ(dest as picture, " FROM_PTR ") as picture"),
    Global(PtrABGRtoPictureKVZdest, "PtrABGRtoPictureKVZ(dest as picture, " FROM_PTR ") as picture"),
    Global(PtrBGRAtoPictureKVZdest, "PtrBGRAtoPictureKVZ(dest as picture, " FROM_PTR ") as picture"),
    Global(PtrRGBAtoPictureKVZdest,
           "PtrRGBAtoPictureKVZ(dest as picture, " FROM_PTR ", FlipVertically as boolean=false) as picture"),
    Global(PtrBGRtoPictureKVZdest, "PtrBGRtoPictureKVZ(dest as picture, " FROM_PTR ") as picture"),
    Global(PtrRGBtoPictureKVZdest, "PtrRGBtoPictureKVZ(dest as picture, " FROM_PTR ") as picture"),
    Global(PtrARGBtoPictureKVZ, "PtrARGBtoPictureKVZ(" FROM_PTR ") as picture"),
    Global(PtrABGRtoPictureKVZ, "PtrABGRtoPictureKVZ(" FROM_PTR ") as picture"),
    Global(PtrBGRAtoPictureKVZ, "PtrBGRAtoPictureKVZ(" FROM_PTR ") as picture"),
    Global(PtrRGBAtoPictureKVZ,
           "PtrRGBAtoPictureKVZ(" FROM_PTR ", FlipVertically as boolean=false) as picture"),
    Global(PtrBGRtoPictureKVZ, "PtrBGRtoPictureKVZ(" FROM_PTR ") as picture"),
    Global(PtrRGBtoPictureKVZ, "PtrRGBtoPictureKVZ(" FROM_PTR ") as picture"),
    Global(PtrARGBtoPictureX, "PtrARGBtoPictureKVZ(" FROM_PTR ", LittleEndian as boolean) as picture"),
    Global(PtrGrayToPictureKVZ, "PtrGrayToPictureKVZ(" FROM_PTR ", PixelByteSize as integer) as picture"),
    Global(PtrGrayToPictureRGBKVZ,
           "PtrGrayToPictureKVZ(" FROM_PTR
           ", PixelByteSize as integer, Red as integer, Blue as integer, Green as integer) as picture"),
    Global(PtrGrayToPicturePalKVZ,
           "PtrGrayToPictureKVZ(" FROM_PTR
           ", PixelByteSize as integer, Red() as integer, Blue() as integer, Green() as integer) as picture"),
    Global(MemoryblockARGBtoPictureKVZdest,
           "MemoryblockARGBtoPictureKVZ(dest as picture, " FROM_BLOCK ") as picture"),
    Global(MemoryblockABGRtoPictureKVZdest,
           "MemoryblockABGRtoPictureKVZ(dest as picture, " FROM_BLOCK ") as picture"),
    Global(MemoryblockBGRAtoPictureKVZdest,
           "MemoryblockBGRAtoPictureKVZ(dest as picture, " FROM_BLOCK ") as picture"),
    Global(MemoryblockRGBAtoPictureKVZdest, "MemoryblockRGBAtoPictureKVZ(dest as picture, " FROM_BLOCK
                                            ", FlipVertically as boolean=false) as picture"),
    Global(MemoryblockBGRtoPictureKVZdest,
           "MemoryblockBGRtoPictureKVZ(dest as picture, " FROM_BLOCK ") as picture"),
    Global(MemoryblockRGBtoPictureKVZdest,
           "MemoryblockRGBtoPictureKVZ(dest as picture, " FROM_BLOCK ") as picture"),
    Global(MemoryblockARGBtoPictureKVZ, "MemoryblockARGBtoPictureKVZ(" FROM_BLOCK ") as picture"),
    Global(MemoryblockABGRtoPictureKVZ, "MemoryblockABGRtoPictureKVZ(" FROM_BLOCK ") as picture"),
    Global(MemoryblockBGRAtoPictureKVZ, "MemoryblockBGRAtoPictureKVZ(" FROM_BLOCK ") as picture"),
    Global(MemoryblockRGBAtoPictureKVZ,
           "MemoryblockRGBAtoPictureKVZ(" FROM_BLOCK ", FlipVertically as boolean=false) as picture"),
    Global(MemoryblockBGRtoPictureKVZ, "MemoryblockBGRtoPictureKVZ(" FROM_BLOCK ") as picture"),
    Global(MemoryblockRGBtoPictureKVZ, "MemoryblockRGBtoPictureKVZ(" FROM_BLOCK ") as picture"),
    Global(MemoryblockARGBtoPictureX,
           "MemoryblockARGBtoPictureKVZ(" FROM_BLOCK ", LittleEndian as boolean) as picture"),
    Global(MemoryblockGrayToPictureKVZ,
           "MemoryblockGrayToPictureKVZ(" FROM_BLOCK ", PixelByteSize as integer) as picture"),
    Global(MemoryblockGrayToPictureRGBKVZ,
           "MemoryblockGrayToPictureKVZ(" FROM_BLOCK
           ", PixelByteSize as integer, Red as integer, Blue as integer, Green as integer) as picture"),
    Global(MemoryblockGrayToPicturePalKVZ,
           "MemoryblockGrayToPictureKVZ(" FROM_BLOCK
           ", PixelByteSize as integer, Red() as integer, Blue() as integer, Green() as integer) as picture"),
};

REALmethodDefinition pictureMethods[kPictureMethodCount] = {
    OfPicture(CopyRGBtoMemoryblockKVZ, "CopyRGBtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyBGRtoMemoryblockKVZ, "CopyBGRtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyARGBtoMemoryblockKVZ,
              "CopyARGBtoMemoryblockKVZ(" TO_BLOCK ", AlphaValue as integer, " BAND ") as boolean"),
    OfPicture(CopyABGRtoMemoryblockKVZ,
              "CopyABGRtoMemoryblockKVZ(" TO_BLOCK ", AlphaValue as integer, " BAND ") as boolean"),
    OfPicture(CopyRGBAtoMemoryblockKVZ,
              "CopyRGBAtoMemoryblockKVZ(" TO_BLOCK ", AlphaValue as integer, " BAND ") as boolean"),
    OfPicture(CopyBGRAtoMemoryblockKVZ,
              "CopyBGRAtoMemoryblockKVZ(" TO_BLOCK ", AlphaValue as integer, " BAND ") as boolean"),
    OfPicture(CopyMRGBtoMemoryblockKVZ,
              "CopyARGBtoMemoryblockKVZ(" TO_BLOCK ", MaskForAlpha as picture, " BAND ") as boolean"),
    OfPicture(CopyMBGRtoMemoryblockKVZ,
              "CopyABGRtoMemoryblockKVZ(" TO_BLOCK ", MaskForAlpha as picture, " BAND ") as boolean"),
    OfPicture(CopyRGBMtoMemoryblockKVZ,
              "CopyRGBAtoMemoryblockKVZ(" TO_BLOCK ", MaskForAlpha as picture, " BAND ") as boolean"),
    OfPicture(CopyBGRMtoMemoryblockKVZ,
              "CopyBGRAtoMemoryblockKVZ(" TO_BLOCK ", MaskForAlpha as picture, " BAND ") as boolean"),
    OfPicture(CopyXRGBtoMemoryblockKVZ, "CopyXRGBtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyXBGRtoMemoryblockKVZ, "CopyXBGRtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyRGBXtoMemoryblockKVZ, "CopyRGBXtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyBGRXtoMemoryblockKVZ, "CopyBGRXtoMemoryblockKVZ(" TO_BLOCK ", " BAND ") as boolean"),
    OfPicture(CopyARGBtoMemoryblockX,
              "CopyARGBtoMemoryblockKVZ(" TO_BLOCK ", LittleEndian as boolean, AlphaValue as integer, " BAND
              ") as boolean"),
    OfPicture(CopyRtoMemoryblockKVZ,
              "CopyRtoMemoryblockKVZ(" TO_BLOCK ", PixelByteSize as integer, " BAND ") as boolean"),
    OfPicture(CopyGtoMemoryblockKVZ,
              "CopyGtoMemoryblockKVZ(" TO_BLOCK ", PixelByteSize as integer, " BAND ") as boolean"),
    OfPicture(CopyBtoMemoryblockKVZ,
              "CopyBtoMemoryblockKVZ(" TO_BLOCK ", PixelByteSize as integer, " BAND ") as boolean"),
};

REALclassDefinition pictureClass = {
    .common = {.version = 13,
               .name = "Picture",
               .methods = pictureMethods,
               .methodCount = kPictureMethodCount,
               .flags = kNewHostsOnly},
};

}  // namespace rastel
