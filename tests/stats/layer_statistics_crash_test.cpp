// Storing a layer's statistics over older ones, with the file layer dropping every write after
// the n-th, for every n until the update runs whole: each file left behind opens, checks
// sound (leaked bytes allowed), keeps its pixels, and holds the old statistics or the new
// ones, never a mixture; the histogram column stays readable.
#include <filesystem>

#include <orvik/odsc.h>

#include "fio/write_seam.hpp"
#include "img/img_test_util.hpp"
#include "osta_test_util.hpp"

namespace {

using img_test::Report;
using img_test::Text;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

constexpr const wchar_t *kLayer = L"/Image/Layer";

class LayerStatisticsCrash : public img_test::ImgTest {
  protected:
    // The file the sweep starts from: a layer with statistics taken every second pixel.
    void MakeBase() {
        Ohfa_File *f = NewFile("base.hfa");
        Report err;
        const Oimg_LayerInfo info = img_test::Info(45, 37, OGDA_U8, 16, 16);
        Oimg_Layer *l = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
        ASSERT_NE(l, nullptr) << Text(err);
        m_pixels = img_test::Raster(37, 45, OGDA_U8);
        img_test::Fill(m_pixels.get(), 0, 0);
        ASSERT_EQ(oimg_LayerWrite(l, m_pixels.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerClose(l, &err), 0) << Text(err);
        const Osta_SkipFactors half{2, 2};
        ASSERT_EQ(osta_LayerStatisticsUpdate(f, kLayer, nullptr, &half, &m_old, &err), 0)
            << Text(err);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
    }

    // Copies the base to "sweep.hfa" and updates it without skip factors; the statistics.
    Osta_Statistics Update(long stopAfter) {
        std::filesystem::copy_file(Path("base.hfa"), Path("sweep.hfa"),
                                   std::filesystem::copy_options::overwrite_existing);
        Osta_Statistics s{};
        Ohfa_File *f = ohfa_FileOpen(Name("sweep.hfa").c_str(), L"r+b", 0, nullptr);
        if (!f) return s;
        StopWritesAfter(stopAfter);
        osta_LayerStatisticsUpdate(f, kLayer, nullptr, nullptr, &s, nullptr);
        ohfa_FileClose(f, nullptr);
        return s;
    }

    img_test::Data m_pixels;
    Osta_Statistics m_old{};
};

bool Same(const Osta_Statistics &a, const Osta_Statistics &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_F(LayerStatisticsCrash, EveryStopLeavesTheOldOrTheNewStatistics) {
    ASSERT_NO_FATAL_FAILURE(MakeBase());
    const Osta_Statistics fresh = Update(-1);
    const long total = WritesCounted();
    ClearWriteStop();
    ASSERT_GT(total, 0);
    ASSERT_FALSE(Same(fresh, m_old));
    int sawOld = 0, sawNew = 0;
    for (long n = 0; n <= total; ++n) {
        SCOPED_TRACE("stopped after write " + std::to_string(n) + " of " + std::to_string(total));
        Update(n);
        ClearWriteStop();
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name("sweep.hfa").c_str(), L"r+b", 0, &err);
        ASSERT_NE(f, nullptr) << Text(err);
        ostr_StringList *problems = nullptr;
        EXPECT_EQ(ohfa_FileCheck(f, &problems, &err), 0)
            << (problems && problems->count ? problems->strings[0] : L"");
        ostr_StringListDelete(problems, nullptr);

        Oimg_Layer *l = oimg_LayerOpen(f, kLayer, &err);
        ASSERT_NE(l, nullptr) << Text(err);
        img_test::Data back(oimg_LayerRead(l, nullptr, &err));
        ASSERT_NE(back, nullptr) << Text(err);
        EXPECT_TRUE(img_test::Holds(back.get(), 0, 0));
        oimg_LayerClose(l, nullptr);

        Osta_Statistics s{};
        ASSERT_EQ(osta_StatisticsRead(f, kLayer, &s, OMSC_FALSE, &err), &s) << Text(err);
        EXPECT_TRUE(Same(s, m_old) || Same(s, fresh));
        sawOld += Same(s, m_old);
        sawNew += Same(s, fresh);

        Odsc_Table *t = odsc_TableOpen(f, kLayer, &err);
        ASSERT_NE(t, nullptr) << Text(err);
        Owned<Osta_Histogram> h(osta_HistogramRead(t, nullptr, 0, odsc_TableGetNumRows(t), &err));
        EXPECT_NE(h, nullptr) << Text(err);
        odsc_TableClose(t, nullptr);
        ohfa_FileClose(f, nullptr);
    }
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

} // namespace
