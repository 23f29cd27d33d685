// Test helpers for MIF records: owned designs, report chains as text, buffer conversion.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/omif.h>

namespace mif_test {

struct DesignDeleter {
    void operator()(Omif_Design *d) const { omif_DesignDestroy(d, nullptr); }
};
using DesignPtr = std::unique_ptr<Omif_Design, DesignDeleter>;

inline DesignPtr Make(const wchar_t *name, const Omif_ItemDescription *table,
                      const Omif_Dictionary *dictionary = nullptr) {
    Oerr_ErrorReport *err = nullptr;
    Omif_Design *d = omif_DesignCreateFromTable(name, table, dictionary, &err);
    EXPECT_EQ(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
    return DesignPtr(d);
}

// "function: message" of every record, outermost first; releases the chain.
inline std::vector<std::wstring> Chain(Oerr_ErrorReport *&err) {
    std::vector<std::wstring> out;
    for (Oerr_ErrorReport *r = err; r; r = r->next)
        out.push_back(std::wstring(r->function ? r->function : L"") + L": " +
                      (r->message ? r->message : L""));
    oerr_DeleteErrorReportEx(&err);
    return out;
}

using Bytes = std::vector<unsigned char>;

// File form of a record written into a buffer of exactly omif_ObjectSize bytes.
inline Bytes ToFile(const void *object, const Omif_Design *design, long baseOffset = 0) {
    Oerr_ErrorReport *err = nullptr;
    const long size = omif_ObjectSize(object, design, &err);
    EXPECT_EQ(err, nullptr);
    Bytes out(static_cast<std::size_t>(size > 0 ? size : 0));
    Omif_Buffer buffer{out.data(), size, 0, baseOffset};
    const long written = omif_ConvertToMIF(nullptr, object, design, &buffer, 0, &err);
    EXPECT_EQ(err, nullptr) << (err ? err->message : L"");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(written, size);
    EXPECT_EQ(buffer.cursor, size);
    return out;
}

// Reads a record from bytes; returns the bytes consumed (the report is left in *err).
inline long FromFile(const Bytes &bytes, const Omif_Design *design, void *object,
                     Oerr_ErrorReport **err) {
    Omif_Buffer buffer{const_cast<unsigned char *>(bytes.data()), static_cast<long>(bytes.size()), 0, 0};
    return omif_ConvertToHost(nullptr, &buffer, design, object, err);
}

class TempFile {
  public:
    TempFile() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "omif-test-XXXXXX").string();
        const int fd = mkstemp(tmpl.data());
        if (fd < 0) throw std::runtime_error("mkstemp failed");
        close(fd);
        m_path = tmpl;
    }
    ~TempFile() { std::filesystem::remove(m_path); }
    std::wstring Wide() const { return std::wstring(m_path.begin(), m_path.end()); }
    const std::string &Path() const { return m_path; }

  private:
    std::string m_path;
};

} // namespace mif_test
