// orvik free FILE: the free list as stored, and the totals of free, leaked and used bytes.
#include <cstdio>
#include <cwchar>
#include <nlohmann/json.hpp>

#include "common.hpp"
#include "file_report.hpp"

namespace orvik_tool {
namespace {

struct FreeBlock {
    uint32_t position;
    int32_t size;
};

template <typename Record>
Record ReadRecord(Ohfa_File *file, const wchar_t *design, long position, long size) {
    Report err;
    const Omif_Design *d = ohfa_DesignFetch(design, err);
    if (!d) err.ThrowIfSet("Cannot read the file's records");
    Record r{};
    if (ohfa_FileHostDataRead(file, position, d, size, &r, err) != size)
        err.ThrowIfSet("Cannot read the record at " + std::to_string(position));
    return r;
}

// The list as the disk holds it. A link that does not ascend, or a block outside the file,
// ends the walk with a failure: the check command says more.
std::vector<FreeBlock> WalkList(Ohfa_File *file, long fileSize) {
    const auto tag = ReadRecord<Ohfa_HeaderTag>(file, L"Ohfa_HeaderTag", 0, 20);
    const auto header = ReadRecord<Ohfa_FileHeader>(file, L"Ohfa_File", tag.headerPtr, 18);
    std::vector<FreeBlock> blocks;
    int64_t end = 0;
    for (uint32_t at = header.freeList; at != 0;) {
        if (at < end || int64_t{at} + 8 > fileSize)
            throw Failure("The free list is damaged at " + std::to_string(at) +
                          " (run orvik check)");
        const auto node = ReadRecord<Ohfa_FreeListNode>(file, L"Ohfa_FreeListNode", at, 8);
        if (node.freeSize < 8 || int64_t{at} + node.freeSize > fileSize)
            throw Failure("The free list is damaged at " + std::to_string(at) +
                          " (run orvik check)");
        blocks.push_back({at, node.freeSize});
        end = int64_t{at} + node.freeSize;
        at = node.freeList;
    }
    return blocks;
}

void Run(const std::string &path, bool json) {
    HfaFile file(path, false);
    Report err;
    const long size = ohfa_FileSize(file.get(), err);
    if (size < 0) err.ThrowIfSet("Cannot size " + path);
    const std::vector<FreeBlock> blocks = WalkList(file.get(), size);
    const CheckResult check = CheckFile(file.get());
    int64_t free = 0;
    for (const FreeBlock &b : blocks) free += b.size;
    const int64_t used = size - free - check.leaked;
    if (json) {
        nlohmann::json list = nlohmann::json::array();
        for (const FreeBlock &b : blocks)
            list.push_back({{"position", b.position}, {"size", b.size}});
        nlohmann::json out = {{"blocks", list},
                              {"free", free},
                              {"leaked", check.leaked},
                              {"used", used},
                              {"size", size}};
        std::printf("%s\n", out.dump(2).c_str());
        return;
    }
    std::printf("%12s %12s\n", "position", "size");
    for (const FreeBlock &b : blocks)
        std::printf("%12lu %12ld\n", static_cast<unsigned long>(b.position),
                    static_cast<long>(b.size));
    std::printf("%zu free blocks\nfree   %12lld bytes\nleaked %12lld bytes\nused   %12lld "
                "bytes\nfile   %12ld bytes\n",
                blocks.size(), static_cast<long long>(free), static_cast<long long>(check.leaked),
                static_cast<long long>(used), size);
}

} // namespace

void AddFree(CLI::App &app) {
    AddFileCommand(app, "free", "Print the free list and the free, leaked and used bytes", Run);
}

} // namespace orvik_tool
