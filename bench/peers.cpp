#include "bench/peers.h"

namespace bench {
namespace {

std::vector<PeerLibrary>& Libraries() {
  static std::vector<PeerLibrary> libraries;
  return libraries;
}

}  // namespace

PeerLibrary::PeerLibrary(const char* libraryName, Adder adder) : name(libraryName), add(adder) {
  Libraries().push_back(*this);
}

std::span<const PeerLibrary> PeerLibrary::All() {
  return Libraries();
}

std::vector<Peer> PeersFor(const PeerTask& task) {
  std::vector<Peer> peers;
  for (const PeerLibrary& library : PeerLibrary::All()) {
    library.add(task, peers);
  }
  return peers;
}

}  // namespace bench
