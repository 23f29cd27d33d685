// Node paths: canonical form, parent and name parts, parsing, joining and combined texts.
#include <gtest/gtest.h>

#include <string>

#include <orvik/ofnp.h>

#include "core/heap_seam.hpp"
#include "test_util.hpp"

using orvik::core::testing::AllocationsCounted;
using orvik::core::testing::ClearAllocationFailure;
using orvik::core::testing::FailNthAllocation;

namespace {

// The part as text, or "!<report head>" on failure.
std::wstring Get(const wchar_t *path, Ofnp_NodePathPart part) {
    Report r;
    WStr out(ofnp_NodePathGet(path, part, r.Out()));
    if (!out) return L"!" + r.Head();
    EXPECT_TRUE(r.Cleared());
    return out.get();
}

TEST(NodePathGet, CanonicalForm) {
    EXPECT_EQ(Get(L"/", OFNP_PART_PATH), L"/");
    EXPECT_EQ(Get(L"/Layer_1", OFNP_PART_PATH), L"/Layer_1");
    EXPECT_EQ(Get(L"/Layer_1/", OFNP_PART_PATH), L"/Layer_1");
    EXPECT_EQ(Get(L"Layer_1/Statistics", OFNP_PART_PATH), L"/Layer_1/Statistics");
    EXPECT_EQ(Get(L"a b/(x)", OFNP_PART_PATH), L"/a b/(x)");
}

TEST(NodePathGet, ParentAndName) {
    EXPECT_EQ(Get(L"/Layer_1/Statistics", OFNP_PART_PARENT), L"/Layer_1");
    EXPECT_EQ(Get(L"/Layer_1", OFNP_PART_PARENT), L"/");
    EXPECT_EQ(Get(L"/", OFNP_PART_PARENT), L"!ofnp_NodePathGet/4/The root node has no parent");
    EXPECT_EQ(Get(L"/Layer_1/Statistics", OFNP_PART_NAME), L"Statistics");
    EXPECT_EQ(Get(L"/Layer_1", OFNP_PART_NAME), L"Layer_1");
    EXPECT_EQ(Get(L"/", OFNP_PART_NAME), L"");
    EXPECT_EQ(Get(L"/a", static_cast<Ofnp_NodePathPart>(9)),
              L"!ofnp_NodePathGet/1/Unknown node path part 9");
}

TEST(NodePathGet, WalkingUpEndsAtTheRoot) {
    std::wstring path = L"/a/b/c";
    std::vector<std::wstring> visited;
    while (!ofnp_NodePathIsRoot(path.c_str())) {
        path = Get(path.c_str(), OFNP_PART_PARENT);
        visited.push_back(path);
        ASSERT_LT(visited.size(), 10u);
    }
    EXPECT_EQ(visited, (std::vector<std::wstring>{L"/a/b", L"/a", L"/"}));
    EXPECT_EQ(path, OFNP_ROOT);
}

TEST(NodePathGet, SyntaxErrors) {
    EXPECT_EQ(Get(nullptr, OFNP_PART_PATH), L"!ofnp_NodePathGet/1/Null or empty node path");
    EXPECT_EQ(Get(L"", OFNP_PART_PATH), L"!ofnp_NodePathGet/1/Null or empty node path");
    EXPECT_EQ(Get(L"//", OFNP_PART_PATH), L"!ofnp_NodePathGet/2/Empty name in node path //");
    EXPECT_EQ(Get(L"/a//b", OFNP_PART_PARENT),
              L"!ofnp_NodePathGet/2/Empty name in node path /a//b");
    EXPECT_EQ(Get(L"/a/b//", OFNP_PART_NAME),
              L"!ofnp_NodePathGet/2/Empty name in node path /a/b//");
    const std::wstring longest(OFNP_NAME_MAX, L'n');
    EXPECT_EQ(Get((L"/" + longest).c_str(), OFNP_PART_NAME), longest);
    const std::wstring tooLong = L"/x/" + longest + L"n";
    EXPECT_EQ(Get(tooLong.c_str(), OFNP_PART_PATH),
              L"!ofnp_NodePathGet/3/Name longer than 63 characters in node path " + tooLong);
}

TEST(NodePathIsRoot, OnlyTheRoot) {
    EXPECT_TRUE(ofnp_NodePathIsRoot(L"/"));
    EXPECT_FALSE(ofnp_NodePathIsRoot(L"/a"));
    EXPECT_FALSE(ofnp_NodePathIsRoot(L""));
    EXPECT_FALSE(ofnp_NodePathIsRoot(nullptr));
    EXPECT_FALSE(ofnp_NodePathIsRoot(L"//"));
}

TEST(NodePathParse, NamesFromTheRoot) {
    Report r;
    ListPtr names(ofnp_NodePathParse(L"/Layer_1/Statistics/", r.Out()));
    ASSERT_TRUE(names);
    EXPECT_EQ(Entries(names.get()), (Texts{L"Layer_1", L"Statistics"}));
    ListPtr root(ofnp_NodePathParse(L"/", r.Out()));
    ASSERT_TRUE(root);
    EXPECT_EQ(root->count, 0);
    EXPECT_EQ(ofnp_NodePathParse(L"/a//", r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ofnp_NodePathParse/2/Empty name in node path /a//");
    for (long n = 1;; ++n) {
        FailNthAllocation(n);
        ostr_StringList *l = ofnp_NodePathParse(L"/a/b", r.Out());
        const bool injected = AllocationsCounted() >= n;
        ClearAllocationFailure();
        if (!injected) {
            EXPECT_EQ(Entries(l), (Texts{L"a", L"b"}));
            ostr_StringListDelete(l, nullptr);
            break;
        }
        EXPECT_EQ(l, nullptr);
        EXPECT_EQ(r.Head(), L"ofnp_NodePathParse/5/Out of memory") << n;
    }
}

TEST(NodePathFromNames, BuildsAndChecksNames) {
    Report r;
    ListPtr names = MakeList({L"Layer_1", L"Statistics"});
    WStr path(ofnp_NodePathFromNames(names.get(), r.Out()));
    EXPECT_STREQ(path.get(), L"/Layer_1/Statistics");
    WStr root(ofnp_NodePathFromNames(nullptr, r.Out()));
    EXPECT_STREQ(root.get(), L"/");
    ListPtr slash = MakeList({L"a", L"b/c"});
    EXPECT_EQ(ofnp_NodePathFromNames(slash.get(), r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ofnp_NodePathFromNames/2/Invalid name 1 in node path name list");
    const std::wstring tooLong(OFNP_NAME_MAX + 1, L'z');
    ListPtr longName = MakeList({tooLong.c_str()});
    EXPECT_EQ(ofnp_NodePathFromNames(longName.get(), r.Out()), nullptr);
    EXPECT_EQ(r.Get()->number, 3);
}

std::wstring Join(const wchar_t *a, const wchar_t *b) {
    Report r;
    WStr out(ofnp_NodePathJoin(a, b, r.Out()));
    return out ? std::wstring(out.get()) : L"!" + r.Head();
}

TEST(NodePathJoin, RelativeBelowParent) {
    EXPECT_EQ(Join(L"/Layer_1", L"Statistics"), L"/Layer_1/Statistics");
    EXPECT_EQ(Join(L"/", L"Layer_1"), L"/Layer_1");
    EXPECT_EQ(Join(L"/a/", L"/b/c/"), L"/a/b/c");
    EXPECT_EQ(Join(L"/a", L"/"), L"/a");
    EXPECT_EQ(Join(L"/a", L""), L"!ofnp_NodePathJoin/1/Null or empty node path");
    EXPECT_EQ(Join(L"/a", L"b//c"), L"!ofnp_NodePathJoin/2/Empty name in node path b//c");
}

TEST(FileNodePath, MakeAndSplit) {
    Report r;
    WStr made(ofnp_FileNodePathMake(L"c:/d/scene.hfa", L"Layer_1/", r.Out()));
    EXPECT_STREQ(made.get(), L"c:/d/scene.hfa(:/Layer_1)");
    WStr plain(ofnp_FileNodePathMake(L"scene.hfa", nullptr, r.Out()));
    EXPECT_STREQ(plain.get(), L"scene.hfa");
    WStr root(ofnp_FileNodePathMake(L"scene.hfa", L"/", r.Out()));
    EXPECT_STREQ(root.get(), L"scene.hfa(:/)");
    EXPECT_EQ(ofnp_FileNodePathMake(nullptr, L"/", r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ofnp_FileNodePathMake/1/Null or empty file name");

    struct Case {
        const wchar_t *text, *file, *node;
    } cases[] = {
        {L"c:/d/scene.hfa(:/Layer_1/Statistics)", L"c:/d/scene.hfa", L"/Layer_1/Statistics"},
        {L"scene.hfa(:Layer_1)", L"scene.hfa", L"/Layer_1"},
        {L"scene.hfa(:/)", L"scene.hfa", L"/"},
        {L"scene.hfa", L"scene.hfa", L"/"},
        {L"a(b).hfa(:x(1))", L"a(b).hfa", L"/x(1)"},
    };
    for (const auto &c : cases) {
        wchar_t *file = nullptr, *node = nullptr;
        ASSERT_TRUE(ofnp_FileNodePathSplit(c.text, &file, &node, r.Out()))
            << testing::PrintToString(std::wstring(c.text));
        WStr f(file), n(node);
        EXPECT_STREQ(f.get(), c.file);
        EXPECT_STREQ(n.get(), c.node);
    }
    wchar_t *nodeOnly = nullptr;
    ASSERT_TRUE(ofnp_FileNodePathSplit(L"f(:a)", nullptr, &nodeOnly, r.Out()));
    WStr n(nodeOnly);
    EXPECT_STREQ(n.get(), L"/a");
}

TEST(FileNodePath, SplitFailures) {
    Report r;
    wchar_t *file = reinterpret_cast<wchar_t *>(1), *node = reinterpret_cast<wchar_t *>(1);
    EXPECT_FALSE(ofnp_FileNodePathSplit(L"scene.hfa(:/a", &file, &node, r.Out()));
    EXPECT_EQ(r.Head(), L"ofnp_FileNodePathSplit/6/Missing ) after the node path in scene.hfa(:/a");
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(node, nullptr);
    EXPECT_FALSE(ofnp_FileNodePathSplit(L"scene.hfa(:)", &file, &node, r.Out()));
    EXPECT_EQ(r.Head(), L"ofnp_FileNodePathSplit/1/Null or empty node path");
    EXPECT_FALSE(ofnp_FileNodePathSplit(L"(:/a)", &file, &node, r.Out()));
    EXPECT_EQ(r.Head(), L"ofnp_FileNodePathSplit/1/No file name in (:/a)");
    EXPECT_FALSE(ofnp_FileNodePathSplit(L"f(:a//b)", &file, &node, r.Out()));
    EXPECT_EQ(r.Get()->number, 2);
    for (long n = 1;; ++n) {
        FailNthAllocation(n);
        const Omsc_Boolean ok = ofnp_FileNodePathSplit(L"f.hfa(:a)", &file, &node, r.Out());
        const bool injected = AllocationsCounted() >= n;
        ClearAllocationFailure();
        if (!injected) {
            ASSERT_TRUE(ok);
            EXPECT_STREQ(file, L"f.hfa");
            EXPECT_STREQ(node, L"/a");
            omsc_HeapFree(file);
            omsc_HeapFree(node);
            break;
        }
        EXPECT_FALSE(ok);
        EXPECT_EQ(file, nullptr);
        EXPECT_EQ(node, nullptr);
    }
}

} // namespace
