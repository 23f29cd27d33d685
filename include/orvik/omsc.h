/*
 * omsc.h - the library heap, small memory utilities and the shared basic types.
 *
 * Every block that crosses the library's interface is allocated with omsc_HeapMalloc (or
 * omsc_HeapRealloc) and released with omsc_HeapFree. The heap functions are safe to call
 * from several threads; thread-safe mode additionally serialises the big-heap bookkeeping.
 */
#ifndef ORVIK_OMSC_H
#define ORVIK_OMSC_H

#include <stddef.h>
#include <stdint.h>

/* Export marker for the library's interface; everything else is hidden. */
#if defined(ORVIKCORE_STATIC)
#define ORVIK_API
#elif defined(_WIN32)
#if defined(ORVIKCORE_BUILDING)
#define ORVIK_API __declspec(dllexport)
#else
#define ORVIK_API __declspec(dllimport)
#endif
#else
#define ORVIK_API __attribute__((visibility("default")))
#endif

/* Follows every exported function, declaration and definition alike: no C++ exception ever
 * leaves the interface, and a C++ compiler holds the definitions to that. */
#ifdef __cplusplus
#define ORVIK_BEGIN_DECLS extern "C" {
#define ORVIK_END_DECLS }
#define ORVIK_NOEXCEPT noexcept
#else
#define ORVIK_BEGIN_DECLS
#define ORVIK_END_DECLS
#define ORVIK_NOEXCEPT
#endif

ORVIK_BEGIN_DECLS

/* The yes/no type of the whole interface: always 32 bits. */
typedef enum Omsc_Boolean_ {
    OMSC_FALSE = 0,
    OMSC_TRUE = 1,
    OMSC_BOOLEAN_FORCE_32_BITS = 0x7fffffff
} Omsc_Boolean;

/* Heap. Blocks are zero-filled; a size of 0 (or below) yields null. */
ORVIK_API void *omsc_HeapMalloc(int32_t size) ORVIK_NOEXCEPT;
ORVIK_API void *omsc_HeapRealloc(void *block, int32_t newSize) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapFree(void *block) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapFreeEx(void **block) ORVIK_NOEXCEPT;
ORVIK_API void omsc_FreeFunc(void *block) ORVIK_NOEXCEPT;
ORVIK_API void omsc_FreePtrFunc(void **block) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapInitThreadSafeMode(void) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapEndThreadSafeMode(void) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapBigInit(void) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapBigExit(void) ORVIK_NOEXCEPT;
ORVIK_API void omsc_HeapPrint(void) ORVIK_NOEXCEPT;
ORVIK_API long omsc_HeapInfo(void) ORVIK_NOEXCEPT;

/* Memory utilities. */
ORVIK_API void *omsc_MemCpy(void *dest, const void *src, size_t count) ORVIK_NOEXCEPT;
ORVIK_API void *omsc_MemMove(void *dest, const void *src, size_t count) ORVIK_NOEXCEPT;
ORVIK_API void *omsc_MemDup(const void *src, size_t count) ORVIK_NOEXCEPT;
ORVIK_API void omsc_MemSwab(void *buffer, long count, long size) ORVIK_NOEXCEPT;
ORVIK_API long omsc_MemRepack(void *dest, long destUnitBits, long destPackageBits, const void *src,
                              long srcUnitBits, long srcPackageBits, long unitCount) ORVIK_NOEXCEPT;
ORVIK_API long omsc_MemPageSizeGet(void) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#ifdef __cplusplus
/*
 * Owning holder of one library-heap pointer. Free() releases the block but deliberately
 * leaves the member as it was; assigning another holder shares the pointer (both own it).
 * Callers that need transfer semantics use Release().
 */
template <class T> class LegacyHelperTemplate {
  public:
    LegacyHelperTemplate() : m_ptr(nullptr) {}
    explicit LegacyHelperTemplate(T *ptr) : m_ptr(ptr) {}
    virtual ~LegacyHelperTemplate() { omsc_HeapFree(m_ptr); }

    void Free() { omsc_HeapFree(m_ptr); }
    T *Release() {
        T *p = m_ptr;
        m_ptr = nullptr;
        return p;
    }
    LegacyHelperTemplate &operator=(T *ptr) {
        omsc_HeapFree(m_ptr);
        m_ptr = ptr;
        return *this;
    }
    LegacyHelperTemplate &operator=(const LegacyHelperTemplate &other) {
        m_ptr = other.m_ptr;
        return *this;
    }
    operator T *() { return m_ptr; }
    operator const T *() const { return m_ptr; }
    operator T **() { return &m_ptr; }
    // A non-const twin keeps `if (holder)` unambiguous next to the conversion to T *.
    explicit operator bool() { return m_ptr != nullptr; }
    explicit operator bool() const { return m_ptr != nullptr; }
    bool operator!() const { return m_ptr == nullptr; }

  protected:
    LegacyHelperTemplate(const LegacyHelperTemplate &other) : m_ptr(other.m_ptr) {}

  private:
    T *m_ptr;
};
#endif

#endif /* ORVIK_OMSC_H */
