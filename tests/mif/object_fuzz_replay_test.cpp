// Replays the seeds of the MIF object fuzz target: each passes the target's checks, the valid
// ones are read completely and the corrupt ones are refused with a report.
#include <set>
#include <string>

#include "fuzz/mif_object_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(MifObjectFuzzReplay, SeedsPassTheTargetsChecks) {
    const std::set<std::string> valid = {"point",          "scalars", "indirect",
                                         "indirect_empty", "objects", "objects_float_grid"};
    const int files =
        ForEachSeed("mif_object", [&](const std::string &name, const std::string &bytes) {
            const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
            EXPECT_EQ(orvik_fuzz::Replay(mif_object_fuzz::RunOne, data, bytes.size()), "");
            if (bytes.empty()) return;
            const Omif_Design *design = mif_object_fuzz::DesignOf(data[0]);
            void *object = omif_ObjectAllocate(design, nullptr);
            Omif_Buffer buffer{const_cast<unsigned char *>(data + 1),
                               static_cast<long>(bytes.size() - 1), 0, 0};
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
        });
    EXPECT_EQ(files, 14);
}
