// Replays the seeds of the MIF object fuzz target: each passes the target's checks, the valid
// ones are read completely and the corrupt ones are refused with a report.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "fuzz/mif_object_target.hpp"

TEST(MifObjectFuzzReplay, SeedsPassTheTargetsChecks) {
    const std::filesystem::path dir = std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus/mif_object";
    const std::set<std::string> valid = {"point", "scalars", "indirect", "indirect_empty", "objects",
                                         "objects_float_grid"};
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
        EXPECT_EQ(orvik_fuzz::Replay(mif_object_fuzz::RunOne, data, bytes.size()), "");
        ++files;
        if (bytes.empty()) continue;
        const Omif_Design *design = mif_object_fuzz::DesignOf(data[0]);
        void *object = omif_ObjectAllocate(design, nullptr);
        Omif_Buffer buffer{const_cast<unsigned char *>(data + 1), static_cast<long>(bytes.size() - 1), 0, 0};
        Oerr_ErrorReport *err = nullptr;
        const long read = omif_ConvertToHost(nullptr, &buffer, design, object, &err);
        if (valid.count(name)) {
            EXPECT_EQ(err, nullptr);
            EXPECT_EQ(read, static_cast<long>(bytes.size() - 1));
        } else {
            EXPECT_NE(err, nullptr);
        }
        oerr_DeleteErrorReportEx(&err);
        omif_ObjectFree(object, design, nullptr);
    }
    EXPECT_EQ(files, 14);
}
