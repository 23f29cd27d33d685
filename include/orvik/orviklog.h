/*
 * orviklog.h - the small logging base of the library's exception classes: a function name,
 * a file name, a code and a pending message (all narrow text, UTF-8). C++ only; in C this
 * header declares nothing.
 *
 * Objects are not shared between threads; copy them instead.
 */
#ifndef ORVIK_ORVIKLOG_H
#define ORVIK_ORVIKLOG_H

#include <orvik/omsc.h>

#ifdef __cplusplus
#include <optional>
#include <string>

namespace OrvikLog {

/* Where a failure happened (function and source file), its code and an optional message.
 * A null name or message stays null: the accessors return null for it. */
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
    void SetMessage(const char *message); /* null clears */

    /* The message, or null when none is set. The pointer stays valid until the message
     * changes or the object dies. */
    virtual const char *get_What();

  protected:
    bool HasMessage() const { return m_message.has_value(); }
    /* "<function name or 'Unknown function'>": the name used in generated messages. */
    std::string FunctionNameOrUnknown() const;

  private:
    std::optional<std::string> m_function;
    std::optional<std::string> m_file;
    std::optional<std::string> m_message;
    long m_code;
};

/*
 * A failure recorded now and acted on later. The base keeps at most one pending message:
 * the Log variants record it (with the code) and print nothing, Check and Throw throw a
 * copy carrying it and leave this object clear, Clear forgets it. Derived classes that own
 * richer state (OerrException owns a report chain) override all of these.
 */
class ORVIK_API UnthrownException : public virtual Exception {
  public:
    UnthrownException();
    explicit UnthrownException(const char *function, const char *file = nullptr);
    UnthrownException(const UnthrownException &other);
    UnthrownException &operator=(const UnthrownException &other);
    ~UnthrownException() override;

    /* Throws a copy of this object when a message is pending (storing `code` first). */
    virtual void Check(long code);
    /* Forgets the pending message and resets the code to 0. */
    virtual void Clear();
    /* Records "<function>:  unknown exception thrown" (for catch-all handlers). */
    virtual void Log(long code);
    /* Records `message` (null records an empty message). */
    virtual void Log(long code, const char *message);
    /* Records the cause's message, or "<cause's function> failed" when it has none. */
    virtual void Log(long code, Exception &cause);
    /* Log(code, message), then throws as Check does. */
    virtual void Throw(long code, const char *message);
};

} // namespace OrvikLog
#endif

#endif /* ORVIK_ORVIKLOG_H */
