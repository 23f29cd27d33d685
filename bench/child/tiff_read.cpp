// A TIFF read with libtiff alone, as a program of its own, so that it is timed as a child
// process like `orvik import`: both then pay process start-up and their own fresh buffers.
//   tiff_read IN            reads every strip into one buffer holding the whole image
//   tiff_read IN OUT BYTES  reads strip by strip into one reused buffer and writes BYTES bytes
//                           (the size of the imported file) to the new file OUT with pwrite:
//                           the least an import that stores that many bytes can cost
#include <fcntl.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char **argv) {
    if (argc != 2 && argc != 4) {
        std::fprintf(stderr, "usage: tiff_read IN [OUT BYTES]\n");
        return 2;
    }
    TIFF *t = TIFFOpen(argv[1], "r");
    if (!t) return 1;
    const tmsize_t strip = TIFFStripSize(t);
    const uint32_t strips = TIFFNumberOfStrips(t);
    if (argc == 2) {
        std::vector<uint8_t> pixels(static_cast<std::size_t>(strip) * strips);
        for (uint32_t s = 0; s < strips; ++s)
            if (TIFFReadEncodedStrip(t, s, pixels.data() + static_cast<std::size_t>(s) * strip,
                                     -1) < 0)
                return 1;
        TIFFClose(t);
        return 0;
    }
    const off_t total = std::strtoll(argv[3], nullptr, 10);
    unlink(argv[2]);
    const int fd = open(argv[2], O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (fd < 0) return 1;
    std::vector<uint8_t> buffer(static_cast<std::size_t>(strip));
    off_t at = 0;
    for (uint32_t s = 0; s < strips; ++s) {
        const tmsize_t got = TIFFReadEncodedStrip(t, s, buffer.data(), -1);
        if (got < 0 || pwrite(fd, buffer.data(), static_cast<std::size_t>(got), at) != got)
            return 1;
        at += got;
    }
    // The pyramids and records: the rest of the bytes, from the same buffer.
    while (at < total) {
        const auto n = static_cast<std::size_t>(std::min<off_t>(total - at, strip));
        if (pwrite(fd, buffer.data(), n, at) != static_cast<ssize_t>(n)) return 1;
        at += static_cast<off_t>(n);
    }
    TIFFClose(t);
    return close(fd) == 0 ? 0 : 1;
}
