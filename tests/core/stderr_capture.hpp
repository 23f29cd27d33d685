// Test helper: captures what is written to standard error (file descriptor 2) in a scope.
#pragma once

#include <cstdio>
#include <string>
#include <unistd.h>

class StderrCapture {
  public:
    StderrCapture() {
        std::fflush(stderr);
        m_file = std::tmpfile();
        m_saved = dup(2);
        dup2(fileno(m_file), 2);
    }
    ~StderrCapture() { Restore(); }
    // Stops capturing and returns everything written meanwhile.
    std::string Text() {
        Restore();
        std::string out;
        if (!m_file) return out;
        std::rewind(m_file);
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, m_file)) > 0) out.append(buf, n);
        std::fclose(m_file);
        m_file = nullptr;
        return out;
    }

  private:
    void Restore() {
        if (m_saved >= 0) {
            std::fflush(stderr);
            dup2(m_saved, 2);
            close(m_saved);
            m_saved = -1;
        }
    }
    std::FILE *m_file = nullptr;
    int m_saved = -1;
};
