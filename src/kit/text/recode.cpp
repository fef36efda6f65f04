#include <i18n/stream_converter.hpp>

#include <kit/recode.hpp>

#include <cstddef>
#include <ios>
#include <vector>

namespace foundation::kit {

namespace {

constexpr std::size_t block_size = 65536;  // bytes that are read, and units that are converted, at a time

/// Converts a block and hands what comes of it to `use(units, count)`, piece by piece.
template <class Out, class In, class Use>
void convert(const fl::i18n::stream_converter<Out, In>& converter, const In* from, const In* end, bool last,
             std::vector<Out>& area, Use use) {
  for (std::size_t more = 1; more != 0;) {
    Out* to = area.data();
    more = converter.convert(&to, area.data() + area.size(), &from, end, last);
    use(area.data(), static_cast<std::size_t>(to - area.data()));
  }
}

/// UTF-16 to the stream in its encoding.
class encoded_output {
 public:
  encoded_output(std::ostream& out, const std::string& encoding, lossy how)
      : encoder_(encoding, how == lossy::replace), out_(out), bytes_(block_size) {}

  void write(const char16_t* units, std::size_t count, bool last) {
    try {
      convert(encoder_, units, units + count, last, bytes_, [this](const char* bytes, std::size_t length) {
        out_.write(bytes, static_cast<std::streamsize>(length));
      });
    } catch (const fl::i18n::conversion_error& cause) {
      throw missing_character(cause);
    }
    if (!out_) {
      throw std::ios_base::failure("the output cannot be written");
    }
  }

 private:
  const fl::i18n::stream_codecvt_ustring_to_string encoder_;
  std::ostream& out_;
  std::vector<char> bytes_;
};

}  // namespace

missing_character::missing_character(const fl::i18n::conversion_error& cause) : conversion_error(cause) {}
missing_character::missing_character(const missing_character&) noexcept = default;
missing_character& missing_character::operator=(const missing_character&) noexcept = default;
missing_character::~missing_character() = default;

void recode(std::istream& in, const std::string& from, std::ostream& out, const std::string& to, lossy how,
            const std::function<void(std::uint64_t)>& progress) {
  const fl::i18n::stream_codecvt_string_to_ustring decoder(from, how == lossy::replace);
  encoded_output output(out, to, how);
  std::vector<char> bytes(block_size);
  std::vector<char16_t> units(block_size);
  std::uint64_t done = 0;  // bytes
  while (!in.eof()) {
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (in.bad() || (in.fail() && !in.eof())) {
      throw std::ios_base::failure("the input cannot be read");
    }
    convert(decoder, bytes.data(), bytes.data() + in.gcount(), in.eof(), units,
            [&](const char16_t* text, std::size_t count) { output.write(text, count, false); });
    done += static_cast<std::uint64_t>(in.gcount());
    if (progress) {
      progress(done);
    }
  }
  output.write(nullptr, 0, true);
  if (!out.flush()) {
    throw std::ios_base::failure("the output cannot be written");
  }
}

}  // namespace foundation::kit
