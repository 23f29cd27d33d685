// Internal: where the dictionary text goes to and comes from. The encoder and decoder see
// only these two classes, so files, strings and the null device share one codec.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <orvik/oerr.h>

namespace orvik::mif {

class TextSink {
  public:
    virtual ~TextSink() = default;
    // Writes `text`; on failure returns false and leaves the writer's own report (or null)
    // in *writerErr.
    virtual bool Write(const std::string &text, Oerr_ErrorReport **writerErr) = 0;
};

class StringSink final : public TextSink {
  public:
    bool Write(const std::string &text, Oerr_ErrorReport **writerErr) override {
        *writerErr = nullptr;
        m_text.append(text);
        return true;
    }
    const std::string &Text() const { return m_text; }

  private:
    std::string m_text;
};

// Reads one character at a time. The buffered fast path is inline; a subclass that reads
// from elsewhere (a file) supplies characters through Refill.
class TextSource {
  public:
    static constexpr int kEnd = -1;    // no more text
    static constexpr int kFailed = -2; // the reader failed; TakeFailure() has its report

    TextSource(const char *begin, const char *end) : m_next(begin), m_end(end) {}
    virtual ~TextSource() { oerr_DeleteErrorReportEx(&m_failure); }
    TextSource(const TextSource &) = delete;
    TextSource &operator=(const TextSource &) = delete;

    int Next() {
        if (m_next != m_end) return static_cast<unsigned char>(*m_next++);
        return Refill();
    }
    Oerr_ErrorReport *TakeFailure() {
        Oerr_ErrorReport *r = m_failure;
        m_failure = nullptr;
        return r;
    }

  protected:
    virtual int Refill() { return kEnd; }
    Oerr_ErrorReport *m_failure = nullptr;

  private:
    const char *m_next;
    const char *m_end;
};

} // namespace orvik::mif
