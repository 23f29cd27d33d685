#include "storage_option.hpp"

#include <algorithm>
#include <thread>

#include "common.hpp"

namespace orvik_tool {
namespace {

struct Named {
    const char *name;
    int32_t value;
};
constexpr Named kCodecs[] = {{"none", OIMG_CODEC_NONE},
                             {"rle", OIMG_CODEC_RUN_LENGTH},
                             {"deflate", OIMG_CODEC_DEFLATE},
                             {"zstd", OIMG_CODEC_ZSTD},
                             {"lz4", OIMG_CODEC_LZ4}};
constexpr Named kPredictors[] = {{"none", OIMG_PREDICTOR_NONE},
                                 {"horizontal", OIMG_PREDICTOR_DIFFERENCE},
                                 {"shuffle", OIMG_PREDICTOR_SHUFFLE}};

template <std::size_t N> std::string NameOf(const Named (&table)[N], int32_t value) {
    for (const Named &n : table)
        if (n.value == value) return n.name;
    return std::to_string(value);
}

template <std::size_t N>
int32_t ValueOf(const Named (&table)[N], const std::string &name, const std::string &what) {
    std::string known;
    for (const Named &n : table) {
        if (name == n.name) return n.value;
        known.append(known.empty() ? "" : ", ").append(n.name);
    }
    throw Failure("Unknown " + what + " \"" + name + "\" (known: " + known + ")");
}

// The levels each codec takes; 0 always means its default.
bool LevelFits(int32_t codec, long level) {
    if (level == 0) return true;
    switch (codec) {
    case OIMG_CODEC_DEFLATE:
        return level >= 1 && level <= 12;
    case OIMG_CODEC_ZSTD:
        return level >= 1 && level <= 22;
    default:
        return false;
    }
}

} // namespace

void StorageOption::AddTo(CLI::App *app) {
    auto *c = app->add_option("--compress", compress,
                              "Keep the blocks coded: none, rle, deflate[:1-12], zstd[:1-22] or "
                              "lz4, each block with a checksum");
    app->add_option("--predictor", predictor,
                    "Applied before the codec: none, horizontal (integer types) or shuffle "
                    "(types of two or more bytes)")
        ->needs(c);
}

Oimg_LayerStorage StorageOption::Storage() const {
    Oimg_LayerStorage s;
    oimg_LayerStorageInit(&s);
    const std::size_t colon = compress.find(':');
    s.codec = ValueOf(kCodecs, compress.substr(0, colon), "codec");
    if (colon != std::string::npos) {
        const std::string text = compress.substr(colon + 1);
        std::size_t used = 0;
        long level = -1;
        try {
            level = std::stol(text, &used);
        } catch (const std::exception &) {
            used = 0;
        }
        if (used != text.size() || text.empty() || !LevelFits(s.codec, level))
            throw Failure("Level \"" + text + "\" does not fit codec " + CodecName(s.codec));
        s.level = static_cast<int32_t>(level);
    }
    if (!predictor.empty()) s.predictor = ValueOf(kPredictors, predictor, "predictor");
    return s;
}

std::string CodecName(int32_t codec) {
    const std::string name = NameOf(kCodecs, codec);
    return name == std::to_string(codec) ? "codec " + name : name;
}

std::string PredictorName(int32_t predictor) {
    const std::string name = NameOf(kPredictors, predictor);
    return name == std::to_string(predictor) ? "predictor " + name : name;
}

std::string StorageText(const Oimg_LayerStorage &storage) {
    std::string text = CodecName(storage.codec);
    if (storage.level != 0) text += ":" + std::to_string(storage.level);
    if (storage.predictor != OIMG_PREDICTOR_NONE) text += "+" + PredictorName(storage.predictor);
    return text;
}

void UseAllCores(Ohfa_File *file) {
    const int cores = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 64u));
    Report err;
    if (ohfa_FileChange(file, err, OHFA_OPTION_WORKER_THREADS, cores, OHFA_OPTION_END) != 0)
        err.ThrowIfSet("Cannot start the worker threads");
}

} // namespace orvik_tool
