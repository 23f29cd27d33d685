// The --compress CODEC[:LEVEL] and --predictor KIND options of import and repack, the names
// of codecs and predictors as ls shows them, and the worker threads of a file's codec work.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include <orvik/ohfa.h>
#include <orvik/oimg.h>

namespace orvik_tool {

struct StorageOption {
    std::string compress;  // "CODEC[:LEVEL]"; empty: not given
    std::string predictor; // "none", "horizontal" or "shuffle"; empty: not given
    void AddTo(CLI::App *app);
    bool Given() const { return !compress.empty(); }
    // The storage record the options name (checksums on). Throws Failure for an unknown codec
    // or predictor and for a level the codec does not take.
    Oimg_LayerStorage Storage() const;
};

// "none", "rle", "deflate", "zstd", "lz4" (or "codec N" for a number not known).
std::string CodecName(int32_t codec);
// "none", "horizontal", "shuffle" (or "predictor N").
std::string PredictorName(int32_t predictor);
// "zstd:3+shuffle", "deflate:6", "none": the codec, its level when it has one, the predictor.
std::string StorageText(const Oimg_LayerStorage &storage);

// Lets the file's coded layers encode and decode blocks on every core.
void UseAllCores(Ohfa_File *file);

} // namespace orvik_tool
