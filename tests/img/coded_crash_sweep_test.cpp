// Crash-point sweep over coded rewrites: a coded layer is written, rewritten larger (noise
// replaces flat pixels, so every block moves), rewritten smaller in part, flushed between, and
// closed. The session runs with the file layer dropping every write after the n-th, for every
// n until it runs whole. Each file left behind that opens must check with nothing worse than
// leaked bytes, its layer must open, and every block must read as one of the versions the
// session wrote (never a damaged block, never pixels of no version), once its creation had
// finished.
#include <set>

#include "fio/write_seam.hpp"
#include "img_test_util.hpp"

namespace {

using namespace img_test;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

constexpr int kSide = 128, kBlock = 32;

class CodedCrashSweep : public ImgTest {
  protected:
    void SetUp() override {
        ImgTest::SetUp();
        m_flat = Raster(kSide, kSide, OGDA_U16);
        m_noisy = Raster(kSide, kSide, OGDA_U16);
        auto *flat = static_cast<uint16_t *>(m_flat->data);
        auto *noisy = static_cast<uint16_t *>(m_noisy->data);
        uint32_t x = 99;
        for (int i = 0; i < kSide * kSide; ++i) {
            flat[i] = 7;
            noisy[i] = static_cast<uint16_t>((x = x * 1103515245 + 12345) >> 16);
        }
    }

    // The session; failures are expected once writes are dropped and are ignored.
    void Session(const std::string &leaf) {
        Report r;
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, &r);
        if (!f) return;
        ohfa_FileChange(f, nullptr, OHFA_OPTION_WORKER_THREADS, 2, 0);
        oimg_ImageCreate(f, nullptr, L"Image", &r);
        Oimg_LayerInfo info = Info(kSide, kSide, OGDA_U16, kBlock, kBlock);
        Oimg_LayerStorage s;
        oimg_LayerStorageInit(&s);
        s.codec = OIMG_CODEC_ZSTD;
        s.predictor = OIMG_PREDICTOR_SHUFFLE;
        Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &r);
        m_created = WritesCounted();
        if (layer) {
            oimg_LayerWrite(layer, m_flat.get(), &r);
            oimg_LayerFlush(layer, &r);
            ohfa_FileFlush(f, &r);
            oimg_LayerWrite(layer, m_noisy.get(), &r);
            oimg_LayerFlush(layer, &r);
            ohfa_FileFlush(f, &r);
            // The left half flat again: those blocks shrink and move once more.
            Data half = Raster(kSide, kSide / 2, OGDA_U16);
            std::memset(half->data, 0, static_cast<std::size_t>(half->lineBytes) * kSide);
            for (int r = 0; r < kSide; ++r)
                for (int c = 0; c < kSide / 2; ++c)
                    static_cast<uint16_t *>(half->data)[r * (half->lineBytes / 2) + c] = 7;
            oimg_LayerWriteWindow(layer, 0, 0, kSide, kSide / 2, half.get(), &r);
            oimg_LayerClose(layer, &r);
        }
        ohfa_FileClose(f, &r);
    }

    // Whether block (br, bc) of `d` equals that block of the flat or noisy version, or is 0.
    bool KnownBlock(const Ogda_BaseData *d, int br, int bc) {
        for (const Ogda_BaseData *v :
             {m_flat.get(), m_noisy.get(), static_cast<Ogda_BaseData *>(nullptr)}) {
            bool same = true;
            for (int r = br * kBlock; same && r < br * kBlock + kBlock; ++r)
                for (int c = bc * kBlock; same && c < bc * kBlock + kBlock; ++c) {
                    const uint16_t got = static_cast<const uint16_t *>(d->data)[r * kSide + c];
                    same = got == (v ? static_cast<const uint16_t *>(v->data)[r * kSide + c] : 0);
                }
            if (same) return true;
        }
        return false;
    }

    Data m_flat, m_noisy;
    long m_created = 0; // writes issued when the layer's creation had finished
};

TEST_F(CodedCrashSweep, EveryCrashPointLeavesASoundFileAndWholeBlocks) {
    StopWritesAfter(1 << 30);
    Session("full.hfa");
    const long total = WritesCounted(), created = m_created;
    ClearWriteStop();
    ASSERT_GT(total, 10);
    long opened = 0;
    for (long n = 1; n <= total; ++n) {
        const std::string leaf = "crash" + std::to_string(n % 4) + ".hfa";
        std::filesystem::remove(std::filesystem::path(Name(leaf)));
        StopWritesAfter(n);
        Session(leaf);
        ClearWriteStop();
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, &err);
        if (!f) continue; // the create had not finished
        ostr_StringList *problems = nullptr;
        const long count = ohfa_FileCheck(f, &problems, &err);
        EXPECT_EQ(count, 0) << "crash after write " << n << ": "
                            << (problems && problems->count
                                    ? std::string(problems->strings[0],
                                                  problems->strings[0] +
                                                      wcslen(problems->strings[0]))
                                    : std::string());
        ostr_StringListDelete(problems, nullptr);
        // A layer whose creation had not finished may be refused; any later one must open.
        if (n >= created) {
            Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/L", &err);
            ASSERT_NE(layer, nullptr) << "crash after write " << n << ": " << Text(err);
            Data d(oimg_LayerRead(layer, nullptr, &err));
            ASSERT_NE(d, nullptr) << "crash after write " << n << ": " << Text(err);
            for (int br = 0; br < kSide / kBlock; ++br)
                for (int bc = 0; bc < kSide / kBlock; ++bc)
                    EXPECT_TRUE(KnownBlock(d.get(), br, bc))
                        << "crash after write " << n << ", block " << br << ", " << bc;
            EXPECT_EQ(oimg_LayerCheck(layer, &err), 0) << Text(err);
            oimg_LayerClose(layer, nullptr);
            ++opened;
        }
        ohfa_FileClose(f, nullptr);
    }
    EXPECT_EQ(opened, total - created + 1);
}

} // namespace
