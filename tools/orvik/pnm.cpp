#include "pnm.hpp"

namespace orvik_pnm {
namespace {

class Reader {
  public:
    Reader(const uint8_t *data, std::size_t size) : m_data(data), m_size(size) {}

    // Skips white space and "#" comments, then reads a decimal number of at most 9 digits.
    bool Number(int64_t *value) {
        for (;;) {
            while (m_pos < m_size && IsSpace(m_data[m_pos])) ++m_pos;
            if (m_pos < m_size && m_data[m_pos] == '#') {
                while (m_pos < m_size && m_data[m_pos] != '\n' && m_data[m_pos] != '\r') ++m_pos;
                continue;
            }
            break;
        }
        int digits = 0;
        int64_t v = 0;
        while (m_pos < m_size && m_data[m_pos] >= '0' && m_data[m_pos] <= '9') {
            if (++digits > 9) return false;
            v = v * 10 + (m_data[m_pos++] - '0');
        }
        *value = v;
        return digits > 0;
    }
    // Exactly one white-space byte ends the header.
    bool EndOfHeader() {
        if (m_pos >= m_size || !IsSpace(m_data[m_pos])) return false;
        ++m_pos;
        return true;
    }
    std::size_t Position() const { return m_pos; }
    void Skip(std::size_t n) { m_pos += n; }

  private:
    static bool IsSpace(uint8_t c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    }
    const uint8_t *m_data;
    std::size_t m_size;
    std::size_t m_pos = 0;
};

bool Fail(std::string *why, const char *text) {
    if (why) *why = text;
    return false;
}

} // namespace

bool Parse(const uint8_t *data, std::size_t size, Image *image, std::string *why) {
    if (size < 2 || data[0] != 'P' || (data[1] != '5' && data[1] != '6'))
        return Fail(why, "not a binary PGM or PPM file (P5 or P6)");
    const int32_t channels = data[1] == '5' ? 1 : 3;
    Reader r(data, size);
    r.Skip(2);
    int64_t width = 0, height = 0, maxValue = 0;
    if (!r.Number(&width) || !r.Number(&height) || !r.Number(&maxValue) || !r.EndOfHeader())
        return Fail(why, "damaged PGM/PPM header");
    if (width < 1 || height < 1 || width > 0x7FFFFFFF || height > 0x7FFFFFFF)
        return Fail(why, "PGM/PPM size out of range");
    if (maxValue < 1 || maxValue > 65535) return Fail(why, "PGM/PPM maximum value out of range");
    const uint64_t bytesPerSample = maxValue > 255 ? 2 : 1;
    const uint64_t available = size - r.Position();
    const uint64_t samples =
        static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * channels;
    if (samples > available / bytesPerSample) return Fail(why, "PGM/PPM file is truncated");
    image->width = static_cast<int32_t>(width);
    image->height = static_cast<int32_t>(height);
    image->channels = channels;
    image->maxValue = static_cast<int32_t>(maxValue);
    image->samples.resize(samples);
    const uint8_t *p = data + r.Position();
    for (uint64_t i = 0; i < samples; ++i)
        image->samples[i] =
            bytesPerSample == 2 ? static_cast<uint16_t>(p[2 * i] << 8 | p[2 * i + 1]) : p[i];
    return true;
}

std::vector<uint8_t> Write(const Image &image) {
    const std::string header = std::string(image.channels == 3 ? "P6" : "P5") + "\n" +
                               std::to_string(image.width) + " " + std::to_string(image.height) +
                               "\n" + std::to_string(image.maxValue) + "\n";
    std::vector<uint8_t> out(header.begin(), header.end());
    out.reserve(out.size() + image.samples.size() * (image.Wide() ? 2 : 1));
    for (uint16_t s : image.samples) {
        if (image.Wide()) out.push_back(static_cast<uint8_t>(s >> 8));
        out.push_back(static_cast<uint8_t>(s & 0xFF));
    }
    return out;
}

} // namespace orvik_pnm
