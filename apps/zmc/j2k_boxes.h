// The JP2 file around a codestream (ISO/IEC 15444-1, Annex I).
#pragma once

#include <string>
#include <vector>

#include "j2k_codestream.h"
#include "picture.h"

namespace zmc::j2k {

struct Palette {
  std::vector<int> bits;                  // by column
  std::vector<std::vector<int>> columns;  // [column][entry]
};

// A channel of the picture: a component's samples, or a palette column that they select from.
struct ChannelSource {
  int component = 0;
  int palette_column = -1;  // -1: the samples themselves
};

struct Container {
  enum class Colour { kUnknown, kGrey, kRgb, kYcc };
  bool is_jp2 = false;
  Colour colour = Colour::kUnknown;
  Palette palette;
  std::vector<ChannelSource> mapping;  // cmap; empty: channel i is component i
  struct Definition {
    int channel, type, association;  // type 0 colour, 1 opacity; association: the number of the colour from 1
  };
  std::vector<Definition> definitions;  // cdef
  Bytes codestream;
};

// True when the bytes begin a JP2 file or a bare codestream.
bool IsJpeg2000(Bytes file);
Container ReadContainer(Bytes file);

// The channels to show, in the order grey or red, green, blue, then opacity when there is one.
std::vector<ChannelSource> ShownChannels(const Container& container, size_t components);

// All of a JP2 file that stands before its codestream. The last 8 bytes are the codestream's box: until its length
// is put in, it reaches to the end of the file.
std::vector<uint8_t> WriteBoxes(const PictureFormat& format);

}  // namespace zmc::j2k
