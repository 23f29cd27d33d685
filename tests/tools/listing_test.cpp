// ls, dump, dict and free on the small fixed file: golden outputs, JSON forms and bad input.
#include <nlohmann/json.hpp>

#include "tools/tool_test_util.hpp"

namespace {

using tool_test::MaskTimes;

class Listing : public tool_test::ToolTest {};

TEST_F(Listing, LsShortLongRecursive) {
    const std::string file = MakeSmallFile();
    auto r = Orvik({"ls", file});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Image/\nNotes\n");
    r = Orvik({"ls", "-l", file, "/Image"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(MaskTimes(r.out),
              "Oimg_Layer                   40  TIME  Band_1/  (none, ratio 1.00)\n");
    r = Orvik({"ls", "-r", file});
    EXPECT_EQ(r.out, "/Image\n/Image/Band_1\n/Image/Band_1/Blocks\n/Image/Band_1/Statistics\n"
                     "/Notes\n");
}

TEST_F(Listing, LsJson) {
    const std::string file = MakeSmallFile();
    const auto r = Orvik({"ls", "-r", "--json", file, "/Image/Band_1"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.size(), 2u);
    EXPECT_EQ(j[0]["path"], "/Image/Band_1/Blocks");
    EXPECT_EQ(j[0]["type"], "Ohfa_CacheNode");
    EXPECT_EQ(j[0]["size"], 16);
    EXPECT_EQ(j[1]["name"], "Statistics");
    EXPECT_EQ(j[1]["type"], "Osta_Statistics");
    EXPECT_EQ(j[1]["size"], 48);
}

TEST_F(Listing, DumpStatistics) {
    const std::string file = MakeSmallFile();
    const auto r = Orvik({"dump", file, "/Image/Band_1/Statistics"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(MaskTimes(r.out), "/Image/Band_1/Statistics\n"
                                "(Osta_Statistics Object)\n"
                                "(last modified TIME)\n"
                                "minimum[0] = 0.000000\n"
                                "maximum[0] = 31.000000\n"
                                "mean[0] = 15.500000\n"
                                "median[0] = 15.000000\n"
                                "mode[0] = 0.000000\n"
                                "stddev[0] = 9.380830\n");
}

TEST_F(Listing, DictPrintsEveryDesign) {
    const std::string file = MakeSmallFile();
    auto r = Orvik({"dict", "--json", file});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    std::vector<std::string> names;
    for (const auto &d : j) names.push_back(d["name"]);
    EXPECT_NE(std::find(names.begin(), names.end(), "Osta_Statistics"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "Oimg_Layer"), names.end());
    EXPECT_EQ(names.front(), "Ohfa_File");
    const auto &stats = *std::find_if(j.begin(), j.end(),
                                      [](const auto &d) { return d["name"] == "Osta_Statistics"; });
    ASSERT_EQ(stats["items"].size(), 6u);
    EXPECT_EQ(stats["items"][5]["name"], "stddev");
    EXPECT_EQ(stats["items"][5]["type"], "d");
    r = Orvik({"dict", file});
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind(std::to_string(names.size()) + " designs\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("Osta_Statistics"), std::string::npos);
}

TEST_F(Listing, FreeTotalsAddUp) {
    const std::string file = MakeSmallFile();
    const auto r = Orvik({"free", "--json", file});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    int64_t listed = 0;
    for (const auto &b : j["blocks"]) listed += b["size"].get<int64_t>();
    EXPECT_EQ(listed, j["free"].get<int64_t>());
    EXPECT_EQ(j["free"].get<int64_t>() + j["leaked"].get<int64_t>() + j["used"].get<int64_t>(),
              j["size"].get<int64_t>());
    EXPECT_EQ(j["size"].get<int64_t>(), static_cast<int64_t>(std::filesystem::file_size(file)));
    const auto text = Orvik({"free", file});
    EXPECT_NE(text.out.find("free blocks\nfree "), std::string::npos) << text.out;
}

TEST_F(Listing, BadInputFailsWithOneLine) {
    const std::string file = MakeSmallFile();
    std::ofstream(Path("foreign.txt")) << "not an hfa file at all, just some text\n";
    const struct {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"ls", Path("missing.hfa")}, "orvik: No such file: " + Path("missing.hfa") + "\n"},
        {{"dump", Path("foreign.txt")}, "orvik: Not an HFA file: " + Path("foreign.txt") + "\n"},
        {{"ls", file, "/Image/Nothing"}, "orvik: Node not found: /Image/Nothing\n"},
        {{"dump", file, "/Nope"}, "orvik: Node not found: /Nope\n"},
        {{"dict", m_dir.Narrow("")}, "orvik: Is a directory: " + m_dir.Narrow("") + "\n"},
    };
    for (const auto &c : cases) {
        const auto r = Orvik(c.args);
        EXPECT_EQ(r.status, 2) << c.args[0];
        EXPECT_EQ(r.err, c.message);
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(Orvik({"ls"}).status, 2);               // missing argument
    EXPECT_EQ(Orvik({"frobnicate", file}).status, 2); // unknown command
    const auto help = Orvik({"ls", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--recursive"), std::string::npos);
}

} // namespace
