// Run-length coding of bytes, for thematic layers (large areas of one class). The stream is a
// series of packets, each opening with a control byte c:
//   c < 128: c + 1 literal bytes follow (1 to 128);
//   c >= 128: one byte follows, repeated c - 125 times (3 to 130).
#include <algorithm>

#include "img/codec.hpp"

namespace orvik::img {
namespace {

constexpr std::size_t kMaxLiteral = 128;
constexpr std::size_t kMinRun = 3;
constexpr std::size_t kMaxRun = 130;

std::size_t RunAt(const unsigned char *in, std::size_t at, std::size_t count) {
    std::size_t n = 1;
    while (at + n < count && n < kMaxRun && in[at + n] == in[at]) ++n;
    return n;
}

} // namespace

void RunLengthEncode(const unsigned char *in, std::size_t count, std::vector<unsigned char> &out) {
    out.clear();
    std::size_t at = 0;
    while (at < count) {
        const std::size_t run = RunAt(in, at, count);
        if (run >= kMinRun) {
            out.push_back(static_cast<unsigned char>(run + 125));
            out.push_back(in[at]);
            at += run;
            continue;
        }
        // Literals up to the next run worth coding.
        std::size_t end = at + run;
        while (end < count && end - at < kMaxLiteral && RunAt(in, end, count) < kMinRun) ++end;
        end = std::min(end, at + kMaxLiteral);
        out.push_back(static_cast<unsigned char>(end - at - 1));
        out.insert(out.end(), in + at, in + end);
        at = end;
    }
}

int64_t RunLengthDecode(const unsigned char *in, std::size_t count, unsigned char *out,
                        std::size_t capacity) {
    std::size_t at = 0, made = 0;
    while (at < count) {
        const unsigned c = in[at++];
        if (c < 128) {
            const std::size_t n = c + 1;
            if (n > count - at || n > capacity - made) return -1;
            std::copy(in + at, in + at + n, out + made);
            at += n;
            made += n;
        } else {
            const std::size_t n = c - 125;
            if (at >= count || n > capacity - made) return -1;
            std::fill(out + made, out + made + n, in[at++]);
            made += n;
        }
    }
    return static_cast<int64_t>(made);
}

} // namespace orvik::img
