// Streams over adaptors, driven by operations. Written: what the buffer beneath was offered is the text so far in the
// encoding, each byte once, whatever it refuses. Read: what comes, steps back included, is the text of the bytes.
#include <fl/io/streambuf_adaptor.hpp>
#include <i18n/encoding.hpp>

#include "fuzzing.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace {

using namespace foundation::core::io;
using fl::ustring;
constexpr auto eof = std::char_traits<char16_t>::eof();
constexpr const char* encodings[] = {"UTF-8", "UTF-16", "UTF-32BE", "GB18030", "Shift_JIS", "US-ASCII", "UTF-8-BOM"};

/// Takes what it has room for, and then nothing, or throws.
struct destination : std::streambuf {
  std::string offered;
  std::size_t room = SIZE_MAX;
  bool is_throwing = false;
  bool has_refused = false;
  int flushes = 0;

  std::streamsize xsputn(const char* from, std::streamsize n) override {
    const auto count = static_cast<std::size_t>(n), taken = std::min(room, count);
    offered.append(from, count);
    room -= room == SIZE_MAX ? 0 : taken;
    has_refused |= taken != count;
    if (taken != count && is_throwing) {
      throw std::runtime_error("no room");
    }
    return static_cast<std::streamsize>(taken);
  }
  int sync() override {
    ++flushes;
    return 0;
  }
};

/// Gives blocks of any size, each of which lies in memory of its own.
struct source : std::streambuf {
  std::string bytes;
  std::string block;
  fuzzing::input* sizes = nullptr;

  int_type underflow() override {
    block = bytes.substr(0, sizes->ConsumeIntegralInRange<std::size_t>(1, 9) * (sizes->ConsumeBool() ? 1 : 200));
    bytes.erase(0, block.size());
    setg(block.data(), block.data(), block.data() + block.size());
    return block.empty() ? traits_type::eof() : traits_type::to_int_type(block[0]);
  }
};

ustring any_text(fuzzing::input& in) {
  ustring text;
  for (const char byte : in.ConsumeBytesAsString(in.ConsumeIntegralInRange<std::size_t>(0, 12))) {
    static constexpr char16_t units[] = u"\u00E9\u4E2D\u3042\xD83D\xDE00\xD800\xDC00\xFFFD\uFEFF";
    const auto value = static_cast<unsigned char>(byte);
    text += value < 0x80 ? static_cast<char16_t>(value) : units[value % (std::size(units) - 1)];
  }
  for (unsigned times = in.ConsumeIntegralInRange(0U, 9U); times > 6 && text.size() < 2000; --times) {
    text += text + text;
  }
  return text;
}

void write(fuzzing::input& in, const char* encoding) {
  const auto beneath = boost::make_shared<destination>(), other = boost::make_shared<destination>();
  uostream out(make_ustreambuf_adaptor(beneath, encoding)), tied(make_ustreambuf_adaptor(other, encoding));
  out.tie(in.ConsumeBool() ? &tied : nullptr);
  ustring text;
  int flushes = 0;
  while (in.remaining_bytes() != 0) {
    const ustring piece = any_text(in);
    beneath->has_refused = false;
    other->flushes = 0;
    const int what = in.ConsumeIntegralInRange(0, 6);
    switch (what) {
      case 0:
        out.flush();
        ++flushes;
        break;
      case 1:
        out.seekp(3);
        fuzzing::require(out.fail() && out.rdbuf()->pubseekoff(0, std::ios::cur) == std::streampos(-1));
        break;
      case 2:
        beneath->room = in.ConsumeBool() ? in.ConsumeIntegralInRange<std::size_t>(0, 30) : SIZE_MAX;
        beneath->is_throwing = in.ConsumeBool();
        continue;
      case 3:
        out.put(piece.empty() ? u'x' : piece[0]);
        text += piece.empty() ? u'x' : piece[0];
        break;
      default:
        out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        text += piece;
    }
    fuzzing::require(what == 1 || out.bad() == beneath->has_refused);
    out.clear();
    fuzzing::require(beneath->flushes == flushes && (other->flushes != 0) == (out.tie() != nullptr));
  }
  const bool takes_pairs = fl::i18n::encode(u"\xD83D\xDE00", encoding) != "??";
  const bool is_cut = takes_pairs && !text.empty() && text.back() >> 10 == 0x36;
  const ustring whole = text.substr(0, text.size() - (is_cut ? 1 : 0));
  fuzzing::require(beneath->offered == fl::i18n::encode(whole, encoding) ||
                   (whole.empty() && beneath->offered.empty()));
}

void read(fuzzing::input& in, const char* encoding) {
  ustring text = fl::i18n::decode(fl::i18n::encode(any_text(in) + any_text(in), encoding), encoding) + u'x';
  const auto beneath = boost::make_shared<source>();
  beneath->bytes = fl::i18n::encode(text, encoding);
  beneath->sizes = &in;
  const auto buffer = make_ustreambuf_adaptor(beneath, encoding);
  std::size_t at = 0, steps_back = 0;
  const auto unit = [&](std::size_t place) -> decltype(buffer->sgetc()) {
    return place < text.size() ? text[place] : eof;
  };
  while (in.remaining_bytes() != 0) {
    const std::size_t count = in.ConsumeIntegralInRange<std::size_t>(0, 20) * (in.ConsumeBool() ? 1 : 90);
    ustring got(count, u'?');
    switch (in.ConsumeIntegralInRange(0, 4)) {
      case 0:
        fuzzing::require(buffer->sgetc() == unit(at));
        break;
      case 1:
        if (const auto back = buffer->sungetc(); back != eof) {
          fuzzing::require(at != 0 && back == unit(--at));
        } else {
          fuzzing::require(at == 0 || steps_back != 0);
        }
        ++steps_back;
        continue;
      case 2:
        if (at != 0 && buffer->sputbackc(u'!') != eof) {
          text[--at] = u'!';
        }
        ++steps_back;
        continue;
      case 3:
        fuzzing::require(buffer->sbumpc() == unit(at));
        at = std::min(at + 1, text.size());
        break;
      default:
        got.resize(static_cast<std::size_t>(buffer->sgetn(got.data(), static_cast<std::streamsize>(count))));
        fuzzing::require(got == text.substr(at, count));
        at += got.size();
    }
    steps_back = 1;  // Looking ahead may have taken what one could step back to.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  const char* const encoding = encodings[in.ConsumeIntegralInRange<std::size_t>(0, std::size(encodings) - 1)];
  if (in.ConsumeBool()) {
    write(in, encoding);
  } else {
    read(in, encoding);
  }
  return 0;
}
