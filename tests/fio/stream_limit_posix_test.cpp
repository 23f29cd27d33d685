// Writes that the process's file-size limit stops short (POSIX only: the limit is set with
// setrlimit in a forked child, which Windows has no equivalent for).
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <orvik/ofio.h>

#include "fio_test_util.hpp"

namespace {

// Runs `body` in a child process whose file-size limit is `limit` bytes (SIGXFSZ ignored,
// so writes fail with EFBIG) and returns what the child wrote to the pipe.
template <class F> std::string InChildWithFileSizeLimit(rlim_t limit, F body) {
    int fds[2];
    if (pipe(fds) != 0) return "pipe failed";
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit rl = {limit, limit};
        setrlimit(RLIMIT_FSIZE, &rl);
        std::string out = body();
        ssize_t ignored = write(fds[1], out.data(), out.size());
        (void)ignored;
        _exit(0);
    }
    close(fds[1]);
    std::string text;
    char buf[512];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) text.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return text;
}

std::string Narrow(const wchar_t *w) {
    std::string s;
    for (; w && *w; ++w) s.push_back(static_cast<char>(*w));
    return s;
}

TEST(FioStream, WritesBeyondTheFileSizeLimitAreReported) {
    TempDir dir;
    std::wstring name = dir.Wide("limited.bin");
    std::string n = dir.Narrow("limited.bin");
    // One large write that stops partway.
    std::string text = InChildWithFileSizeLimit(100000, [&] {
        Oerr_ErrorReport *err = nullptr;
        Ofio_File *f = ofio_FileOpen(name.c_str(), L"wb", &err);
        if (!f) return std::string("open failed");
        std::vector<char> block(1 << 20, 'q');
        long r = ofio_WriteSeq(f, block.data(), static_cast<long>(block.size()), &err);
        std::string out = std::to_string(r) + "|" + (err ? Narrow(err->message) : "");
        oerr_DeleteErrorReportEx(&err);
        ofio_FileClose(f, &err);
        oerr_DeleteErrorReportEx(&err);
        return out;
    });
    EXPECT_EQ(text, "-1|Cannot write to file \"" + n +
                        "\" (100000 of 1048576 bytes written at offset 0): File too large");
    EXPECT_EQ(ReadRaw(n).size(), 100000u);

    // Small buffered writes: the failure surfaces when the buffer goes out, here at close.
    text = InChildWithFileSizeLimit(1000, [&] {
        Oerr_ErrorReport *err = nullptr;
        Ofio_File *f = ofio_FileOpen(name.c_str(), L"wb", &err);
        if (!f) return std::string("open failed");
        std::string out;
        for (int i = 0; i < 30; ++i) {
            if (ofio_WriteSeq(f, "0123456789012345678901234567890123456789012345678", 50, &err) !=
                50) {
                out += "write failed;";
            }
        }
        int r = ofio_FileClose(f, &err);
        out += std::to_string(r) + "|" +
               (err ? Narrow(err->function) + ":" + Narrow(err->message) : "");
        oerr_DeleteErrorReportEx(&err);
        return out;
    });
    EXPECT_EQ(text, "-1|ofio_FileClose:Cannot write to file \"" + n +
                        "\" (1000 of 1500 bytes written at offset 0): File too large");
}

} // namespace
