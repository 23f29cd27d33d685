// The two disk-header steps of a new record: reading the header and dictionary of an
// existing file, and writing the fixed records of a new one (in crash-safe order: the tag,
// which makes the file recognisable, is written last).
#include <cerrno>
#include <chrono>
#include <cstring>

#include <orvik/othr.h>

#include "core/guard.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "mif/codec.hpp"
#include "mif/dictionary.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

namespace {

// Feeds the dictionary decoder from the file in chunks, counting what it consumes. Never
// reads past the file end, so a text without its final "." simply ends.
class DictionarySource final : public mif::TextSource {
  public:
    DictionarySource(Ohfa_File *file, int64_t start)
        : TextSource(nullptr, nullptr), m_file(file), m_next(start) {}
    int64_t Consumed() const { return m_consumed; }

  protected:
    int Refill() override {
        if (m_at == m_filled) {
            const int64_t left = m_file->fileEnd - m_next;
            if (left <= 0) return kEnd;
            const long n = static_cast<long>(std::min<int64_t>(left, sizeof m_chunk));
            Oerr_ErrorReport *e = nullptr;
            if (!ReadAt(m_file, m_next, m_chunk, n, &e, L"omif_DecodeDictionary")) {
                oerr_DeleteErrorReportEx(&m_failure);
                m_failure = e;
                return kFailed;
            }
            m_next += n;
            m_at = 0;
            m_filled = static_cast<std::size_t>(n);
        }
        ++m_consumed;
        return static_cast<unsigned char>(m_chunk[m_at++]);
    }

  private:
    Ohfa_File *m_file;
    int64_t m_next;
    int64_t m_consumed = 0;
    char m_chunk[4096];
    std::size_t m_at = 0;
    std::size_t m_filled = 0;
};

// The root entry of every new file is stamped from one process-wide template under a mutex.
Othr_Mutex g_rootMutex = OTHR_MUTEX_INITIALIZER;
Ohfa_Entry g_rootTemplate = {0, 0, 0, 0, 0, 0, "root", "root", 0.0};

bool WriteRootEntry(Ohfa_File *file, uint32_t position, Oerr_ErrorReport **err, const wchar_t *fn) {
    unsigned char bytes[kEntrySize];
    othr_MutexLock(&g_rootMutex);
    g_rootTemplate.modTime =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    const bool converted =
        RecordToBytes(kEntryDesign, &g_rootTemplate, bytes, kEntrySize, position, err, fn);
    othr_MutexUnlock(&g_rootMutex);
    return converted && WriteAt(file, position, bytes, kEntrySize, err, fn);
}

} // namespace

bool ReadDiskHeader(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_HeaderTag tag{};
    if (file->fileEnd < int64_t{kTagSize} + kHeaderSize || !ReadTag(file->stream, tag, err, fn) ||
        std::memcmp(tag.label, kTagLabel, sizeof kTagLabel) != 0) {
        oerr_DeleteErrorReportEx(err);
        SetError(err, fn, kHeaderNotHfa, nullptr, L"File %s is not an OHFA file",
                 file->name.c_str());
        return false;
    }
    if (tag.headerPtr < kTagSize || int64_t{tag.headerPtr} + kHeaderSize > file->fileEnd) {
        SetError(err, fn, kHeaderOutside, nullptr, L"Header pointer %lu lies outside file %s",
                 static_cast<unsigned long>(tag.headerPtr), file->name.c_str());
        return false;
    }
    Ohfa_FileHeader header{};
    if (!ReadHeader(file->stream, tag.headerPtr, header, err, fn)) return false;
    if (header.dictionaryPtr == 0) {
        SetError(err, fn, kHeaderNoDictionary, nullptr,
                 L"File does not contain an OMIF dictionary");
        return false;
    }
    if (header.dictionaryPtr >= file->fileEnd) {
        SetError(err, fn, kHeaderDictionaryOutside, nullptr,
                 L"Dictionary pointer %lu lies outside file %s",
                 static_cast<unsigned long>(header.dictionaryPtr), file->name.c_str());
        return false;
    }
    DictionarySource source(file, header.dictionaryPtr);
    Omif_Dictionary *dictionary = mif::DecodeDictionary(source, nullptr, err);
    if (!dictionary) {
        Oerr_ErrorReport *cause = source.TakeFailure();
        if (cause) {
            oerr_DeleteErrorReportEx(err);
            *err = cause;
        }
        SetError(err, fn, kHeaderDictionaryFailed, *err, L"omif_DecodeDictionary failed");
        return false;
    }
    if (file->dictionary) mif::FreeDictionary(file->dictionary);
    file->dictionary = dictionary;
    file->dictionaryModified = false;
    file->dictionaryPos = header.dictionaryPtr;
    file->dictionaryLength = static_cast<uint32_t>(source.Consumed());
    file->headerPtr = tag.headerPtr;
    file->header = header;
    file->freeList.Reset(header.freeList);
    return true;
}

bool WriteNewHeader(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    Omif_Dictionary *dictionary = mif::NewDictionary();
    if (!dictionary) throw std::bad_alloc();
    file->dictionary = dictionary;
    for (const wchar_t *name : kStoredDesigns) {
        const Omif_Design *design = FixedDesign(name, err);
        if (!design || !mif::AddDesignCopy(dictionary, design, fn, err)) {
            SetError(err, fn, kHeaderDesignFailed, *err, L"OMIF_DESIGN_FETCH failed");
            return false;
        }
    }
    file->dictionaryModified = true;
    file->headerPtr = kNewHeaderPtr;
    file->header = Ohfa_FileHeader{kNewVersion, 0, 0, static_cast<int16_t>(kEntrySize), 0};
    file->freeList.Reset(0);
    // The header's place counts as written: allocation starts after it.
    file->fileEnd = kNewHeaderPtr + kHeaderSize;
    const uint32_t root = TakeSpace(file, kEntrySize, err, L"ohfa_NextFreePos");
    if (root == 0) {
        SetError(err, fn, kHeaderNoSpace, *err, L"ohfa_NextFreePos failed");
        return false;
    }
    file->header.rootEntryPtr = root;
    if (!WriteRootEntry(file, root, err, fn)) return false;
    // The flush stores the dictionary and writes the header; the tag comes last.
    if (!FlushFile(file, err, fn) || !WriteTag(file, err, fn)) return false;
    return true;
}

} // namespace orvik::hfa
