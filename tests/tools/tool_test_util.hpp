// Test helpers for the orvik tool: runs the built binary with its output captured, and
// makes the small fixed file the listing tests read.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "hfa/hfa_test_util.hpp"

namespace tool_test {

struct Outcome {
    int status = -1;
    std::string out, err;
};

inline std::string Slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline std::string Quote(const std::string &arg) {
    std::string q = "'";
    for (char c : arg) {
        if (c == '\'')
            q.append("'\\''");
        else
            q.push_back(c);
    }
    q.push_back('\'');
    return q;
}

// Times change from run to run: "(last modified ...)" and "YYYY-MM-DD HH:MM:SS" become TIME.
inline std::string MaskTimes(const std::string &text) {
    static const std::regex stamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)");
    static const std::regex listed(R"(\(last modified [^)]*\))");
    return std::regex_replace(std::regex_replace(text, stamp, "TIME"), listed,
                              "(last modified TIME)");
}

class ToolTest : public hfa_test::HfaTest {
  protected:
    // Runs `orvik args...` with standard output and error in files of the test's folder.
    // `environment`: "NAME=value ..." settings for this run only.
    Outcome Orvik(const std::vector<std::string> &args, const std::string &environment = "") {
        std::string cmd = environment;
        cmd.append(Quote(ORVIK_TOOL));
        for (const std::string &a : args) cmd.append(" ").append(Quote(a));
        const std::string out = Path("stdout.txt"), err = Path("stderr.txt");
        cmd.append(" >").append(Quote(out)).append(" 2>").append(Quote(err)).append(" </dev/null");
        const int raw = std::system(cmd.c_str());
        Outcome r;
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        r.out = Slurp(out);
        r.err = Slurp(err);
        return r;
    }

    // The fixed file: "/Image" with layer "Band_1" (8 x 4 u8, value row * 8 + column) and its
    // statistics, plus an empty entry "/Notes" of type "Note".
    std::string MakeSmallFile(const std::string &leaf = "small.hfa") {
        hfa_test::Report err;
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, &err);
        EXPECT_NE(f, nullptr);
        EXPECT_EQ(oimg_ImageCreate(f, nullptr, L"Image", &err), 0);
        Oimg_LayerInfo info{};
        info.width = 8;
        info.height = 4;
        info.pixelType = OGDA_U8;
        info.layerKind = OIMG_CONTINUOUS;
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Band_1", &info, &err);
        EXPECT_NE(layer, nullptr);
        Ogda_BaseData *data = ogda_BaseDataCreate(4, 8, OGDA_U8, Ogda_Raster, nullptr, &err);
        for (int i = 0; i < 32; ++i)
            static_cast<uint8_t *>(data->data)[i] = static_cast<uint8_t>(i);
        EXPECT_EQ(oimg_LayerWrite(layer, data, &err), 0);
        ogda_BaseDataDelete(data, nullptr);
        EXPECT_EQ(oimg_LayerClose(layer, &err), 0);
        const Osta_Statistics stats{0, 31, 15.5, 15, 0, 9.38083};
        EXPECT_EQ(osta_StatisticsWrite(f, L"/Image/Band_1", &stats, &err), 0);
        EXPECT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err), 1);
        EXPECT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, L"Notes", L"Note", &err), 0);
        EXPECT_EQ(ohfa_FileClose(f, &err), 0);
        return Path(leaf);
    }
};

} // namespace tool_test
