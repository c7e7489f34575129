// Every service of the host, one line each: the name of its entry, its type and, if there is one, the name
// that it has in other hosts.
#pragma once

#include <cstdint>

#include "abi/records.h"
#include "host/binding.h"

namespace rastel {

/// Gives the address of a host entry. Null until the host has called REALPluginMain.
inline constinit Resolver gResolver = nullptr;

/// The host's version, such as 2013.04. 0.0 if the host does not tell it.
inline constinit double rbversion_rbversion = 0.0;

inline void* FindHostEntry(const char* entryName) {
  return gResolver == nullptr ? nullptr : gResolver(entryName);
}

template <FixedText Name, typename Signature, FixedText Fallback = "">
using HostEntry = Bound<FindHostEntry, Name, Signature, Fallback>;

/// Gives an element of the array that the host was asked about.
using ArrayGetter = std::int32_t (*)(_REALarrayInteger*, std::int32_t index);

// clang-format off
// The host's version, registration.
inline constinit HostEntry<"REALGetRBVersion", double()> REALGetRBVersion;
inline constinit HostEntry<"RegisterPluginVersion", void(std::int32_t definitionVersion)> RegisterPluginVersion;
inline constinit HostEntry<"PluginRegisterMethod", void(REALmethodDefinition*)> REALRegisterMethod;
inline constinit HostEntry<"PluginRegisterClassExtension", void(REALclassDefinition*)> REALRegisterClassExtension;
inline constinit HostEntry<"PluginRegisterModule", void(REALmoduleDefinition*)> REALRegisterModule;

// Objects and exceptions. A new instance comes with one reference, which the caller drops.
inline constinit HostEntry<"PluginNewInstance", REALobjectStruct*(const char* className)> REALnewInstance;
inline constinit HostEntry<"REALSetPropValueString", void(REALobjectStruct*, const char*, REALstringStruct*)> REALSetPropValueString;
inline constinit HostEntry<"REALSetPropValueInteger", void(REALobjectStruct*, const char*, std::int32_t), "REALSetPropValueInt"> REALSetPropValueInteger;
inline constinit HostEntry<"REALGetPropValueInteger", Boolean(REALobjectStruct*, const char*, std::int32_t*), "REALGetPropValueInt"> REALGetPropValueInteger;
inline constinit HostEntry<"RuntimeRaiseException", void(REALobjectStruct*)> REALRaiseException;
inline constinit HostEntry<"REALLockObject", void(REALobjectStruct*)> REALLockObject;
inline constinit HostEntry<"REALUnlockObject", void(REALobjectStruct*)> REALUnlockObject;
inline constinit HostEntry<"pluginObjectType", REALclassRefStruct*(const char* className)> REALGetClassRef;
inline constinit HostEntry<"REALLoadObjectMethod", void*(REALobjectStruct*, const char* declaration)> REALLoadObjectMethod;

// Strings. A string that the host makes comes with one reference, which the caller drops.
inline constinit HostEntry<"REALUnlockString", void(REALstringStruct*)> REALUnlockString;
inline constinit HostEntry<"REALBuildString", REALstringStruct*(const void*, std::int32_t byteLength)> originalREALBuildString;
inline constinit HostEntry<"REALBuildStringWithEncoding", REALstringStruct*(const void*, std::int32_t byteLength, std::uint32_t encoding)> REALBuildStringWithEncoding;
inline constinit HostEntry<"REALConvertString", REALstringStruct*(REALstringStruct*, std::uint32_t encoding)> REALConvertString;
inline constinit HostEntry<"REALSetStringEncoding", void(REALstringStruct*, std::uint32_t encoding)> REALSetStringEncoding;

// Arrays.
inline constinit HostEntry<"RuntimeUBound", std::int32_t(_REALarrayInteger*)> REALGetArrayUBound;
inline constinit HostEntry<"PluginIntegerArrayGetProc", ArrayGetter(_REALarrayInteger*), "RuntimeArrayDirectGetGetProc"> REALGetArrayValueInteger;

// Control, memory blocks.
inline constinit HostEntry<"REALYieldToRB", void()> REALYieldToRB;
inline constinit HostEntry<"memoryBlockGetPtr", void*(REALmemoryBlockStruct*)> REALMemoryBlockGetPtr;
inline constinit HostEntry<"memoryBlockGetSize", std::int32_t(REALmemoryBlockStruct*)> REALMemoryBlockGetSize;

// Pictures. A new picture comes with one reference, which the caller drops; so does a mask or a graphics object.
inline constinit HostEntry<"lockPictureDescription", void(REALpictureStruct*, REALpictureDescription*)> REALLockPictureDescriptionWithNativeType;
inline constinit HostEntry<"REALLockPictureDescription", Boolean(REALpictureStruct*, REALpictureDescription*, std::int32_t type)> REALLockPictureDescription;
inline constinit HostEntry<"unlockPictureDescription", void(REALpictureStruct*)> REALUnlockPictureDescription;
inline constinit HostEntry<"REALPictureClearCache", void(REALpictureStruct*)> REALPictureClearCache;
inline constinit HostEntry<"PluginPictureGetType", std::int32_t(REALpictureStruct*)> REALGetPictureType;
inline constinit HostEntry<"newPicture", REALpictureStruct*(std::int32_t width, std::int32_t height, std::int32_t depth)> REALNewPicture;
inline constinit HostEntry<"REALBuildPictureFromBuffer", REALpictureStruct*(std::int32_t width, std::int32_t height, std::int32_t one, void* buffer, std::int32_t rowBytes)> REALBuildPictureFromBuffer;
inline constinit HostEntry<"REALGetPictureMask", REALpictureStruct*(REALpictureStruct*, Boolean create)> REALGetPictureMask;
inline constinit HostEntry<"pluginPictureGraphicsGetter", REALobjectStruct*(REALpictureStruct*)> REALGetPictureGraphics;
// clang-format on

/// Every picture is an object of the host.
inline REALobjectStruct* AsObject(REALpictureStruct* picture) {
  return reinterpret_cast<REALobjectStruct*>(picture);
}

}  // namespace rastel
