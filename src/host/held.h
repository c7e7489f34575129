// Things of the host that are given back on every way out, even if the host throws.
#pragma once

#include "host/entries.h"

namespace rastel {

/// Holds a thing until `Return` gives it back. While the thing is null nothing is held.
template <typename Thing, void (*Return)(Thing*)>
class Held {
 public:
  /// Takes over a thing that the caller holds, or null.
  explicit Held(Thing* thing) : thing_(thing) {}
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  /// Gives the thing back. A host that throws here ends the process.
  ~Held() { GiveBack(); }

  Thing* Get() const { return thing_; }

  /// Gives the thing back now. A host that throws here may do so: its exception passes.
  void GiveBack() {
    if (thing_ != nullptr) {
      Return(thing_);
      thing_ = nullptr;
    }
  }

  /// Gives the thing back and takes over another one.
  void Reset(Thing* thing) {
    GiveBack();
    thing_ = thing;
  }

  /// Gives the thing to the caller, who then holds it.
  Thing* HandOver() {
    Thing* thing = thing_;
    thing_ = nullptr;
    return thing;
  }

 private:
  Thing* thing_;
};

inline void DropReference(REALobjectStruct* object) {
  REALUnlockObject(object);
}
inline void DropReference(REALpictureStruct* picture) {
  REALUnlockObject(AsObject(picture));
}
inline void DropReference(REALstringStruct* string) {
  REALUnlockString(string);
}

/// A reference to an object, a picture or a string.
template <typename Object>
using Reference = Held<Object, DropReference>;

}  // namespace rastel
