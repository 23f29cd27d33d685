/*
 * orviklog.h - the small logging base of the library's exception classes: a function name,
 * a file name (both narrow text) and a code. C++ only; in C this header declares nothing.
 */
#ifndef ORVIK_ORVIKLOG_H
#define ORVIK_ORVIKLOG_H

#include <orvik/omsc.h>

#ifdef __cplusplus
#include <string>

namespace OrvikLog {

class ORVIK_API Exception {
  public:
    Exception();
    explicit Exception(const char *function, const char *file = nullptr, long code = 0);
    Exception(const Exception &other);
    Exception &operator=(const Exception &other);
    virtual ~Exception();

    const char *GetFunctionName() const;
    const char *GetFileName() const;
    long GetCode() const;
    void SetFunctionName(const char *function);
    void SetFileName(const char *file);
    void SetCode(long code);

    virtual const char *get_What();

  private:
    std::string m_function;
    std::string m_file;
    long m_code;
    bool m_hasFunction;
    bool m_hasFile;
};

/* An exception object that may be checked, logged or thrown later. */
class ORVIK_API UnthrownException : public virtual Exception {
  public:
    UnthrownException();
    explicit UnthrownException(const char *function, const char *file = nullptr);
    UnthrownException(const UnthrownException &other);
    UnthrownException &operator=(const UnthrownException &other);
    ~UnthrownException() override;

    virtual void Check(long code);
    virtual void Clear();
    virtual void Log(long code);
    virtual void Log(long code, const char *message);
    virtual void Log(long code, Exception &cause);
    virtual void Throw(long code, const char *message);
};

} // namespace OrvikLog
#endif

#endif /* ORVIK_ORVIKLOG_H */
