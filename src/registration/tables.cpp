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

REALmethodDefinition globalMethods[kGlobalMethodCount] = {
    Global(PtrARGBtoPictureKVZdest,
           "PtrARGBtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrABGRtoPictureKVZdest,
           "PtrABGRtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrBGRAtoPictureKVZdest,
           "PtrBGRAtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrRGBAtoPictureKVZdest,
           "PtrRGBAtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer, FlipVertically as boolean=false) as picture"),
    Global(PtrBGRtoPictureKVZdest,
           "PtrBGRtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrRGBtoPictureKVZdest,
           "PtrRGBtoPictureKVZ(dest as picture, source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrARGBtoPictureKVZ,
           "PtrARGBtoPictureKVZ(source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrABGRtoPictureKVZ,
           "PtrABGRtoPictureKVZ(source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrBGRAtoPictureKVZ,
           "PtrBGRAtoPictureKVZ(source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrRGBAtoPictureKVZ,
           "PtrRGBAtoPictureKVZ(source as Ptr, offset as integer, width as integer, height as integer, "
           "FlipVertically as boolean=false) as picture"),
    Global(PtrBGRtoPictureKVZ,
           "PtrBGRtoPictureKVZ(source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrRGBtoPictureKVZ,
           "PtrRGBtoPictureKVZ(source as Ptr, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(PtrARGBtoPictureX,
           "PtrARGBtoPictureKVZ(source as Ptr, offset as integer, width as integer, height as integer, "
           "LittleEndian as boolean) as picture"),
    Global(PtrGrayToPictureKVZ,
           "PtrGrayToPictureKVZ(source as Ptr, offset as integer, width as integer, height as integer, "
           "PixelByteSize as integer) as picture"),
    Global(PtrGrayToPictureRGBKVZ,
           "PtrGrayToPictureKVZ(source as Ptr, offset as integer, width as integer, height as integer, "
           "PixelByteSize as integer, Red as integer, Blue as integer, Green as integer) as picture"),
    Global(PtrGrayToPicturePalKVZ,
           "PtrGrayToPictureKVZ(source as Ptr, offset as integer, width as integer, height as integer, "
           "PixelByteSize as integer, Red() as integer, Blue() as integer, Green() as integer) as picture"),
    Global(MemoryblockARGBtoPictureKVZdest,
           "MemoryblockARGBtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer) as picture"),
    Global(MemoryblockABGRtoPictureKVZdest,
           "MemoryblockABGRtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer) as picture"),
    Global(MemoryblockBGRAtoPictureKVZdest,
           "MemoryblockBGRAtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer) as picture"),
    Global(MemoryblockRGBAtoPictureKVZdest,
           "MemoryblockRGBAtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer, FlipVertically as boolean=false) as picture"),
    Global(MemoryblockBGRtoPictureKVZdest,
           "MemoryblockBGRtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer) as picture"),
    Global(MemoryblockRGBtoPictureKVZdest,
           "MemoryblockRGBtoPictureKVZ(dest as picture, source as memoryblock, offset as integer, "
           "width as integer, height as integer) as picture"),
    Global(MemoryblockARGBtoPictureKVZ,
           "MemoryblockARGBtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(MemoryblockABGRtoPictureKVZ,
           "MemoryblockABGRtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(MemoryblockBGRAtoPictureKVZ,
           "MemoryblockBGRAtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(MemoryblockRGBAtoPictureKVZ,
           "MemoryblockRGBAtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer, FlipVertically as boolean=false) as picture"),
    Global(MemoryblockBGRtoPictureKVZ,
           "MemoryblockBGRtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(MemoryblockRGBtoPictureKVZ,
           "MemoryblockRGBtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer) as picture"),
    Global(MemoryblockARGBtoPictureX,
           "MemoryblockARGBtoPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer, LittleEndian as boolean) as picture"),
    Global(MemoryblockGrayToPictureKVZ,
           "MemoryblockGrayToPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer, PixelByteSize as integer) as picture"),
    Global(MemoryblockGrayToPictureRGBKVZ,
           "MemoryblockGrayToPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer, PixelByteSize as integer, Red as integer, Blue as integer, "
           "Green as integer) as picture"),
    Global(MemoryblockGrayToPicturePalKVZ,
           "MemoryblockGrayToPictureKVZ(source as memoryblock, offset as integer, width as integer, "
           "height as integer, PixelByteSize as integer, Red() as integer, Blue() as integer, "
           "Green() as integer) as picture"),
};

REALmethodDefinition pictureMethods[kPictureMethodCount] = {
    OfPicture(CopyRGBtoMemoryblockKVZ,
              "CopyRGBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyBGRtoMemoryblockKVZ,
              "CopyBGRtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyARGBtoMemoryblockKVZ,
              "CopyARGBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "AlphaValue as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyABGRtoMemoryblockKVZ,
              "CopyABGRtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "AlphaValue as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyRGBAtoMemoryblockKVZ,
              "CopyRGBAtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "AlphaValue as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyBGRAtoMemoryblockKVZ,
              "CopyBGRAtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "AlphaValue as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyMRGBtoMemoryblockKVZ,
              "CopyARGBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "MaskForAlpha as picture, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyMBGRtoMemoryblockKVZ,
              "CopyABGRtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "MaskForAlpha as picture, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyRGBMtoMemoryblockKVZ,
              "CopyRGBAtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "MaskForAlpha as picture, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyBGRMtoMemoryblockKVZ,
              "CopyBGRAtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "MaskForAlpha as picture, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyXRGBtoMemoryblockKVZ,
              "CopyXRGBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyXBGRtoMemoryblockKVZ,
              "CopyXBGRtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyRGBXtoMemoryblockKVZ,
              "CopyRGBXtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyBGRXtoMemoryblockKVZ,
              "CopyBGRXtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "StartLine as integer = 0, EndLine as Integer = -1, Yield as integer = 0, "
              "DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyARGBtoMemoryblockX,
              "CopyARGBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "LittleEndian as boolean, AlphaValue as integer, StartLine as integer = 0, "
              "EndLine as Integer = -1, Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyRtoMemoryblockKVZ,
              "CopyRtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "PixelByteSize as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyGtoMemoryblockKVZ,
              "CopyGtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "PixelByteSize as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
    OfPicture(CopyBtoMemoryblockKVZ,
              "CopyBtoMemoryblockKVZ(destination as memoryblock, offset as integer, "
              "PixelByteSize as integer, StartLine as integer = 0, EndLine as Integer = -1, "
              "Yield as integer = 0, DestRowBytes as integer = 0) as boolean"),
};

REALclassDefinition pictureClass = {
    .common = {.version = 13,
               .name = "Picture",
               .methods = pictureMethods,
               .methodCount = kPictureMethodCount,
               .flags = kNewHostsOnly},
};

}  // namespace rastel
