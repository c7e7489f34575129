// Turns two gray samples into a picture, through the plug-in that is named on the command line.
#include <devhost/host.h>

int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  devhost::Host host;
  host.Load(argv[1]);
  const auto block = host.NewMemoryBlock(2);
  block->bytes()[1] = 77;
  const auto result = host.Call("MemoryblockGrayToPictureKVZ", {block.get(), 0, 2, 1, 1});
  return result.picture && result.picture->At(1, 0) == devhost::Pixel{77, 77, 77, 255} ? 0 : 1;
}
