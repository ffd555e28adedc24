#include "j2k_boxes.h"

#include <algorithm>

#include "failure.h"
#include "j2k_bits.h"

namespace zmc::j2k {
namespace {

constexpr int64_t Type(const char (&name)[5]) {
  return int64_t{name[0]} << 24 | int64_t{name[1]} << 16 | int64_t{name[2]} << 8 | int64_t{name[3]};
}

constexpr int64_t kSignatureWord = 0x0D0A870A;

struct Box {
  int64_t type = 0;
  ByteReader contents;
};

// The next box; one that claims to reach beyond the end of the file ends there.
Box ReadBox(ByteReader& in) {
  size_t length = static_cast<size_t>(in.U32());
  const int64_t type = in.U32();
  size_t header = 8;
  if (length == 1) {
    const auto high = static_cast<size_t>(in.U32());
    length = high << 32 | static_cast<size_t>(in.U32());
    header = 16;
  }
  if (length != 0 && length < header) throw Failure("JP2: impossible box length");
  const size_t size = length == 0 ? in.left() : std::min(length - header, in.left());
  return {type, in.Take(size)};
}

void ReadColour(ByteReader in, Container& c) {
  const int method = in.U8();
  in.Skip(2);
  if (c.colour != Container::Colour::kUnknown || method != 1) return;
  switch (in.U32()) {
    case 16:
      c.colour = Container::Colour::kRgb;
      return;
    case 17:
      c.colour = Container::Colour::kGrey;
      return;
    case 18:
      c.colour = Container::Colour::kYcc;
      return;
    default:
      return;
  }
}

void ReadPalette(ByteReader in, Container& c) {
  const int entries = in.U16();
  const int columns = in.U8();
  if (entries < 1 || entries > 1024 || columns < 1) throw Failure("JP2: impossible palette");
  c.palette = {};
  for (int i = 0; i < columns; ++i) {
    c.palette.bits.push_back((in.U8() & 0x7F) + 1);
    if (c.palette.bits.back() > 16) throw Failure("JP2: a palette of more than 16 bits is not supported");
  }
  c.palette.columns.resize(static_cast<size_t>(columns));
  for (int e = 0; e < entries; ++e) {
    for (size_t i = 0; i < c.palette.columns.size(); ++i) {
      const int value = c.palette.bits[i] > 8 ? in.U16() : in.U8();
      c.palette.columns[i].push_back(std::min(value, (1 << c.palette.bits[i]) - 1));
    }
  }
}

void ReadHeaderBoxes(ByteReader in, Container& c) {
  while (in.left() >= 8) {
    Box box = ReadBox(in);
    if (box.type == Type("colr")) ReadColour(box.contents, c);
    if (box.type == Type("pclr")) ReadPalette(box.contents, c);
    if (box.type == Type("cmap")) {
      while (box.contents.left() >= 4) {
        const int component = box.contents.U16();
        const bool mapped = box.contents.U8() == 1;
        const int column = box.contents.U8();
        c.mapping.push_back({component, mapped ? column : -1});
      }
    }
    if (box.type == Type("cdef")) {
      box.contents.Skip(2);
      while (box.contents.left() >= 6) {
        const int channel = box.contents.U16();
        const int type = box.contents.U16();
        c.definitions.push_back({channel, type, box.contents.U16()});
      }
    }
  }
}

void AppendBox(HeaderWriter& out, int64_t type, const HeaderWriter& contents) {
  out.U32(static_cast<int64_t>(contents.bytes().size()) + 8);
  out.U32(type);
  for (const uint8_t byte : contents.bytes()) out.U8(byte);
}

}  // namespace

bool IsJpeg2000(Bytes file) {
  ByteReader in(file);
  if (file.size() < 12) return false;
  const int64_t first = in.U32();
  if (first >> 16 == kSOC) return true;
  return first == 12 && in.U32() == Type("jP  ") && in.U32() == kSignatureWord;
}

Container ReadContainer(Bytes file) {
  Container c;
  ByteReader in(file);
  if (!IsJpeg2000(file)) throw Failure("not a JPEG 2000 file");
  if (file[0] == 0xFF) {
    c.codestream = file;
    return c;
  }
  c.is_jp2 = true;
  while (in.left() >= 8) {
    const Box box = ReadBox(in);
    if (box.type == Type("jp2h")) ReadHeaderBoxes(box.contents, c);
    if (box.type != Type("jp2c")) continue;
    c.codestream = box.contents.rest();
    break;
  }
  if (c.codestream.empty()) throw Failure("JP2: no codestream");
  if (c.mapping.empty()) c.palette = {};
  return c;
}

std::vector<ChannelSource> ShownChannels(const Container& container, size_t components) {
  std::vector<ChannelSource> all = container.mapping;
  if (container.palette.columns.empty()) {
    all.clear();
    for (size_t i = 0; i < components; ++i) all.push_back({static_cast<int>(i), -1});
  }
  for (const ChannelSource& source : all) {
    if (source.component >= static_cast<int>(components) ||
        source.palette_column >= static_cast<int>(container.palette.columns.size())) {
      throw Failure("JP2: a channel without a component");
    }
  }
  // Colours by their associations; without definitions the channels stand in order, the last of 2 or 4 being opacity.
  std::vector<ChannelSource> colours, opacity;
  if (container.definitions.empty()) {
    const size_t count = all.size() < 3 ? 1 : 3;
    colours.assign(all.begin(), all.begin() + static_cast<ptrdiff_t>(count));
    if (all.size() == 2 || all.size() == 4) opacity.push_back(all.back());
  } else {
    for (int number = 1; number <= 3; ++number) {
      for (const auto& d : container.definitions) {
        if (d.channel >= static_cast<int>(all.size())) throw Failure("JP2: a definition without a channel");
        const ChannelSource source = all[static_cast<size_t>(d.channel)];
        if (d.type == 0 && d.association == number) colours.push_back(source);
        if (d.type == 1 && number == 1) opacity.push_back(source);
      }
    }
    if (colours.empty()) colours.push_back(all[0]);
    colours.resize(colours.size() < 3 ? 1 : 3);
    opacity.resize(std::min<size_t>(opacity.size(), 1));
  }
  colours.insert(colours.end(), opacity.begin(), opacity.end());
  return colours;
}

std::vector<uint8_t> WriteBoxes(const PictureFormat& format) {
  HeaderWriter out;
  HeaderWriter signature, type, header, ihdr, colour, definitions;
  signature.U32(kSignatureWord);
  AppendBox(out, Type("jP  "), signature);
  type.U32(Type("jp2 ")), type.U32(0), type.U32(Type("jp2 "));
  AppendBox(out, Type("ftyp"), type);

  ihdr.U32(format.height), ihdr.U32(format.width), ihdr.U16(format.channels), ihdr.U8(format.bits - 1);
  ihdr.U8(7), ihdr.U8(0), ihdr.U8(0);  // the one compression type; colour space known; no rights
  AppendBox(header, Type("ihdr"), ihdr);
  colour.U8(1), colour.U8(0), colour.U8(0), colour.U32(format.channels < 3 ? 17 : 16);
  AppendBox(header, Type("colr"), colour);
  if (format.channels == 2 || format.channels == 4) {
    definitions.U16(format.channels);
    for (int i = 0; i < format.channels; ++i) {
      const bool opacity = i == format.channels - 1;
      definitions.U16(i), definitions.U16(opacity ? 1 : 0), definitions.U16(opacity ? 0 : i + 1);
    }
    AppendBox(header, Type("cdef"), definitions);
  }
  AppendBox(out, Type("jp2h"), header);
  out.U32(0), out.U32(Type("jp2c"));
  return out.bytes();
}

}  // namespace zmc::j2k
