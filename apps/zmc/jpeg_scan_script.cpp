#include "jpeg_scan_script.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "failure.h"

namespace zmc::jpeg {
namespace {

struct Band {
  int ss, se, ah, al;
};
constexpr Band kWhole = {0, 63, 0, 0};

Scan ScanOf(const std::vector<int>& components, Band band, Colour colour) {
  Scan scan = {{}, band.ss, band.se, band.ah, band.al};
  for (const int i : components) scan.components.push_back({i, TableNumber(colour, i), TableNumber(colour, i)});
  return scan;
}

std::vector<int> All(const Frame& frame) {
  std::vector<int> all(frame.components.size());
  std::iota(all.begin(), all.end(), 0);
  return all;
}

bool Interleaves(const Frame& frame, const std::vector<int>& components) {
  int blocks = 0;
  for (const int i : components) {
    const Component& c = frame.components[static_cast<size_t>(i)];
    blocks += c.h * c.v;
  }
  return components.size() == 1 || blocks <= kMaxMcuBlocks;
}

// One scan of all components where that is possible, else one for each.
void AddOfAll(const Frame& frame, Band band, Colour colour, std::vector<Scan>& scans) {
  const std::vector<int> all = All(frame);
  if (Interleaves(frame, all) && (band.ss == 0)) {
    scans.push_back(ScanOf(all, band, colour));
  } else {
    for (const int i : all) scans.push_back(ScanOf({i}, band, colour));
  }
}

// The order in which the eye gets most for its bytes: luminance is cut into a coarse and a fine band, chroma is not.
std::vector<Scan> ProgressionForYCbCr(const Frame& frame) {
  std::vector<Scan> scans;
  const auto add = [&](int component, Band band) { scans.push_back(ScanOf({component}, band, Colour::kYCbCr)); };
  AddOfAll(frame, {0, 0, 0, 1}, Colour::kYCbCr, scans);
  add(0, {1, 5, 0, 2});
  add(2, {1, 63, 0, 1});
  add(1, {1, 63, 0, 1});
  add(0, {6, 63, 0, 2});
  add(0, {1, 63, 2, 1});
  AddOfAll(frame, {0, 0, 1, 0}, Colour::kYCbCr, scans);
  add(2, {1, 63, 1, 0});
  add(1, {1, 63, 1, 0});
  add(0, {1, 63, 1, 0});
  return scans;
}

// Reads the text of a script.
class ScriptReader {
 public:
  explicit ScriptReader(const std::string& text) : text_(text) {}

  // The next entry; false at the end.
  bool Next(std::vector<int>& components, Band& band) {
    components.clear();
    band = kWhole;
    if (Peek() == '\0') return false;
    components.push_back(Number());
    while (Peek() != ':' && Peek() != ';' && Peek() != '\0') {
      if (Peek() == ',') ++position_;
      components.push_back(Number());
    }
    if (Peek() == ':') {
      ++position_;
      band.ss = Number();
      Expect('-');
      band.se = Number();
      Expect(',');
      band.ah = Number();
      Expect(',');
      band.al = Number();
    }
    if (Peek() != '\0') Expect(';');
    ++entry_;
    return true;
  }

  [[noreturn]] void Fail(const char* what) const {
    throw Failure("scan " + std::to_string(entry_ + 1) + " of the script: " + what);
  }

 private:
  // The next character that is neither white space nor in a comment; a zero at the end.
  char Peek() {
    while (position_ < text_.size()) {
      const char c = text_[position_];
      if (c == '#') {
        position_ = std::min(text_.find('\n', position_), text_.size());
      } else if (std::isspace(static_cast<unsigned char>(c))) {
        ++position_;
      } else {
        return c;
      }
    }
    return '\0';
  }

  void Expect(char c) {
    if (Peek() != c) Fail("not of the form \"components: Ss-Se, Ah, Al;\"");
    ++position_;
  }

  int Number() {
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    if (!is_digit(Peek())) Fail("a number is missing");
    int number = 0;
    for (; position_ < text_.size() && is_digit(text_[position_]); ++position_) {
      number = std::min(number * 10 + (text_[position_] - '0'), 99);
    }
    return number;
  }

  const std::string& text_;
  size_t position_ = 0;
  int entry_ = 0;
};

// Follows what a sequence of scans has sent (G.1.1.1.1).
class ProgressionCheck {
 public:
  explicit ProgressionCheck(size_t components) : sent_(components) {
    for (auto& component : sent_) component.fill(kNothing);
  }

  // What is wrong with the next scan; null if nothing is.
  const char* Take(const Scan& scan) {
    if (scan.se > 63 || scan.ss > scan.se || scan.al > 13) return "a value is out of range";
    if (scan.ss == 0 ? scan.se > 0 : scan.components.size() > 1) {
      return "a progressive scan holds DC coefficients alone, or AC coefficients of one component";
    }
    for (const ScanComponent& c : scan.components) {
      std::array<int, 64>& sent = sent_[static_cast<size_t>(c.index)];
      if (scan.ss > 0 && sent[0] == kNothing) return "AC coefficients before the DC coefficients";
      for (int k = scan.ss; k <= scan.se; ++k) {
        int& low = sent[static_cast<size_t>(k)];
        const bool first = low == kNothing && scan.ah == 0, refining = low == scan.ah && scan.al == scan.ah - 1;
        if (!first && !refining) return "it does not take up where the scans before it left off";
        low = scan.al;
      }
    }
    return nullptr;
  }

  bool AllDcSent() const {
    return std::ranges::all_of(sent_, [](const auto& component) { return component[0] != kNothing; });
  }

 private:
  static constexpr int kNothing = -1;
  std::vector<std::array<int, 64>> sent_;  // the low bit that each coefficient has arrived at
};

}  // namespace

int TableNumber(Colour colour, int component) {
  return (colour == Colour::kYCbCr || colour == Colour::kYcck) && (component == 1 || component == 2) ? 1 : 0;
}

Scan WholeScan(const Frame& frame, Colour colour) { return ScanOf(All(frame), kWhole, colour); }

std::vector<Scan> UsualScans(const Frame& frame, Colour colour) {
  if (frame.Progressive() && colour == Colour::kYCbCr && frame.components.size() == 3)
    return ProgressionForYCbCr(frame);
  static constexpr Band kBands[] = {{0, 0, 0, 1},  {1, 5, 0, 2}, {6, 63, 0, 2},
                                    {1, 63, 2, 1}, {0, 0, 1, 0}, {1, 63, 1, 0}};
  std::vector<Scan> scans;
  if (!frame.Progressive()) AddOfAll(frame, kWhole, colour, scans);
  if (frame.Progressive()) {
    for (const Band& band : kBands) AddOfAll(frame, band, colour, scans);
  }
  return scans;
}

Script ParseScript(const std::string& text, const Frame& frame, Colour colour) {
  Script script;
  ScriptReader reader(text);
  std::vector<int> components;
  Band band;
  while (reader.Next(components, band)) {
    if (!std::ranges::is_sorted(components, std::ranges::less_equal{}) ||
        components.back() >= static_cast<int>(frame.components.size())) {
      reader.Fail("the picture's components are counted from 0 and go in order");
    }
    if (!Interleaves(frame, components)) reader.Fail("more than ten blocks in an MCU");
    script.scans.push_back(ScanOf(components, band, colour));
    script.progressive |= band.ss != 0 || band.se != 63 || band.ah != 0 || band.al != 0;
  }
  ProgressionCheck check(frame.components.size());
  size_t coded = 0;
  for (const Scan& scan : script.scans) {
    coded += scan.components.size();
    const char* wrong = script.progressive ? check.Take(scan) : nullptr;
    if (wrong) throw Failure("scan " + std::to_string(&scan - script.scans.data() + 1) + " of the script: " + wrong);
  }
  const bool complete = script.progressive ? check.AllDcSent() : coded == frame.components.size();
  if (!complete) throw Failure("the script does not code every component, and each once");
  return script;
}

}  // namespace zmc::jpeg
