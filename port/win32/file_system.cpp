// Win32 implementation of the file system calls (see port/file_system.hpp): wide-character
// APIs throughout, positional transfers through OVERLAPPED offsets on synchronous handles.
#include "port/file_system.hpp"

#include <algorithm>
#include <random>

#include "port/win32/win32_text.hpp"

// <windows.h> maps this name to RemoveDirectoryW; ours is the interface's own function.
#undef RemoveDirectory

namespace orvik::port::fs {
namespace {

HANDLE ToHandle(Handle h) { return reinterpret_cast<HANDLE>(h); }

Code Last() { return static_cast<Code>(GetLastError()); }

// One transfer moves at most this much (the Win32 count is 32 bits).
constexpr std::size_t kChunk = std::size_t{1} << 30;

OVERLAPPED At(std::int64_t position) {
    OVERLAPPED o{};
    o.Offset = static_cast<DWORD>(static_cast<std::uint64_t>(position) & 0xFFFFFFFFu);
    o.OffsetHigh = static_cast<DWORD>(static_cast<std::uint64_t>(position) >> 32);
    return o;
}

// Directories need their own flag to be opened at all, and are refused here as POSIX open
// refuses them for writing; the code says "not supported on a directory".
// ERROR_DIRECTORY_NOT_SUPPORTED, which MinGW's headers lack.
constexpr Code kIsDirectory = 336;

} // namespace

std::string SystemReason(Code code) { return win32::ErrorText(static_cast<DWORD>(code)); }

bool IsNotFound(Code code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND || code == ERROR_DIRECTORY;
}
bool IsMissing(Code code) { return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND; }
bool IsAlreadyExists(Code code) {
    return code == ERROR_ALREADY_EXISTS || code == ERROR_FILE_EXISTS;
}
bool IsCrossDevice(Code code) { return code == ERROR_NOT_SAME_DEVICE; }
Code FileTooLargeCode() { return ERROR_DISK_FULL; }
Code NoSpaceCode() { return ERROR_DISK_FULL; }
Code IoErrorCode() { return ERROR_IO_DEVICE; }

Code Open(const std::string &path, const OpenRequest &request, Handle &out) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    DWORD access = 0;
    switch (request.access) {
    case Access::ReadOnly:
        access = GENERIC_READ;
        break;
    case Access::WriteOnly:
        access = GENERIC_WRITE;
        break;
    case Access::ReadWrite:
        access = GENERIC_READ | GENERIC_WRITE;
        break;
    }
    DWORD disposition = OPEN_EXISTING;
    if (request.create && request.exclusive) {
        disposition = CREATE_NEW;
    } else if (request.create) {
        disposition = request.truncate ? CREATE_ALWAYS : OPEN_ALWAYS;
    } else if (request.truncate) {
        disposition = TRUNCATE_EXISTING;
    }
    // Sharing everything keeps POSIX behaviour: others may read, write, rename and delete
    // the file while it is open.
    HANDLE h =
        CreateFileW(wide.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        const Code code = Last();
        const DWORD attributes = GetFileAttributesW(wide.c_str());
        if (code == ERROR_ACCESS_DENIED && attributes != INVALID_FILE_ATTRIBUTES &&
            (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
            return kIsDirectory;
        }
        return code;
    }
    out = reinterpret_cast<Handle>(h);
    return 0;
}

Code Close(Handle handle) { return CloseHandle(ToHandle(handle)) ? 0 : Last(); }

Code ReadAt(Handle handle, void *buffer, std::size_t count, std::int64_t position,
            std::size_t &done) {
    done = 0;
    auto *p = static_cast<char *>(buffer);
    while (done < count) {
        OVERLAPPED o = At(position + static_cast<std::int64_t>(done));
        DWORD n = 0;
        const DWORD ask = static_cast<DWORD>(std::min(count - done, kChunk));
        if (!ReadFile(ToHandle(handle), p + done, ask, &n, &o)) {
            const Code code = Last();
            if (code == ERROR_HANDLE_EOF) break;
            return code;
        }
        if (n == 0) break;
        done += n;
    }
    return 0;
}

Code WriteAt(Handle handle, const void *buffer, std::size_t count, std::int64_t position,
             std::size_t &done) {
    done = 0;
    auto *p = static_cast<const char *>(buffer);
    while (done < count) {
        OVERLAPPED o = At(position + static_cast<std::int64_t>(done));
        DWORD n = 0;
        const DWORD ask = static_cast<DWORD>(std::min(count - done, kChunk));
        if (!WriteFile(ToHandle(handle), p + done, ask, &n, &o)) return Last();
        if (n == 0) return FileTooLargeCode();
        done += n;
    }
    return 0;
}

// No positioned vectored call on synchronous handles: one transfer per piece.
Code ReadAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
             std::size_t &done) {
    done = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t got = 0;
        const Code code = ReadAt(handle, pieces[i].bytes, pieces[i].count,
                                 position + static_cast<std::int64_t>(done), got);
        done += got;
        if (code != 0 || got < pieces[i].count) return code;
    }
    return 0;
}

Code WriteAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
              std::size_t &done) {
    done = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t put = 0;
        const Code code = WriteAt(handle, pieces[i].bytes, pieces[i].count,
                                  position + static_cast<std::int64_t>(done), put);
        done += put;
        if (code != 0) return code;
    }
    return 0;
}

Code SizeOf(Handle handle, std::int64_t &size) {
    LARGE_INTEGER n;
    if (!GetFileSizeEx(ToHandle(handle), &n)) return Last();
    size = n.QuadPart;
    return 0;
}

// Windows byte-range locks are mandatory: a locked range cannot be read by others. The
// writer's lock therefore covers one byte far beyond any file's end, which no reader touches.
Code LockForWriting(Handle handle) {
    OVERLAPPED at{};
    at.Offset = 0xFFFFFFFEu;
    at.OffsetHigh = 0x7FFFFFFFu;
    return LockFileEx(ToHandle(handle), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1,
                      0, &at)
               ? 0
               : Last();
}
bool IsLockHeld(Code code) {
    return code == ERROR_LOCK_VIOLATION || code == ERROR_SHARING_VIOLATION ||
           code == ERROR_IO_PENDING;
}
bool IsLockUnsupported(Code code) {
    return code == ERROR_NOT_SUPPORTED || code == ERROR_INVALID_FUNCTION;
}

Code Resize(Handle handle, std::int64_t size) {
    LARGE_INTEGER to;
    to.QuadPart = size;
    if (!SetFilePointerEx(ToHandle(handle), to, nullptr, FILE_BEGIN)) return Last();
    return SetEndOfFile(ToHandle(handle)) ? 0 : Last();
}

Code FlushToDisk(Handle handle) { return FlushFileBuffers(ToHandle(handle)) ? 0 : Last(); }

// Access follows the folder's inherited permissions; nothing to change.
Code MakeReadableByAll(Handle) { return 0; }

// Win32 offers no way to flush a folder's entries; the rename is journaled by NTFS.
void FlushFolder(const std::string &) {}

Code TypeOf(const std::string &path, EntryType &type) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const Code code = Last();
        if (IsNotFound(code) || code == ERROR_INVALID_NAME) {
            type = EntryType::Missing;
            return 0;
        }
        return code;
    }
    type = (attributes & FILE_ATTRIBUTE_DIRECTORY) ? EntryType::Directory
           : (attributes & FILE_ATTRIBUTE_DEVICE)  ? EntryType::Other
                                                   : EntryType::File;
    return 0;
}

Code SizeOfPath(const std::string &path, std::int64_t &size) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(wide.c_str(), GetFileExInfoStandard, &data)) return Last();
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return kIsDirectory;
    size = static_cast<std::int64_t>((static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) |
                                     data.nFileSizeLow);
    return 0;
}

// Neither allocates for ordinary paths: they finish or undo atomic replacements, also after
// memory has run out.
Code Remove(const std::string &path) {
    const win32::StackWidePath wide(path);
    if (!wide.get()) return ERROR_INVALID_NAME;
    return DeleteFileW(wide.get()) ? 0 : Last();
}

Code Rename(const std::string &from, const std::string &to) {
    const win32::StackWidePath wideFrom(from), wideTo(to);
    if (!wideFrom.get() || !wideTo.get()) return ERROR_INVALID_NAME;
    // No MOVEFILE_COPY_ALLOWED: a move between volumes fails with ERROR_NOT_SAME_DEVICE and
    // the caller copies, as after EXDEV on POSIX.
    return MoveFileExW(wideFrom.get(), wideTo.get(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
               ? 0
               : Last();
}

Code MakeDirectory(const std::string &path) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    return CreateDirectoryW(wide.c_str(), nullptr) ? 0 : Last();
}

Code RemoveDirectory(const std::string &path) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    return RemoveDirectoryW(wide.c_str()) ? 0 : Last();
}

Code ListDirectory(const std::string &path, std::vector<std::string> &names) {
    std::wstring wide;
    if (!win32::WidePath(path, wide)) return ERROR_INVALID_NAME;
    if (!wide.empty() && wide.back() != L'\\') wide += L'\\';
    wide += L'*';
    WIN32_FIND_DATAW entry;
    HANDLE find = FindFirstFileW(wide.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE) {
        const Code code = Last();
        // A folder with no entries at all (a drive root can be one) is not an error.
        return code == ERROR_FILE_NOT_FOUND ? 0 : code;
    }
    // Owned so that the search is closed even when an append throws.
    struct Closer {
        HANDLE h;
        ~Closer() { FindClose(h); }
    } closer{find};
    do {
        const std::wstring name = entry.cFileName;
        if (name == L"." || name == L"..") continue;
        names.push_back(win32::NarrowPath(name));
    } while (FindNextFileW(find, &entry));
    const Code code = Last();
    return code == ERROR_NO_MORE_FILES ? 0 : code;
}

Code CreateUnique(const std::string &directory, const std::string &prefix,
                  const std::string &suffix, std::string &path, Handle &out) {
    static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device seed;
    std::mt19937 random(seed());
    std::uniform_int_distribution<int> pick(0, sizeof kLetters - 2);
    std::string base = directory;
    if (!base.empty() && base.back() != '/' && base.back() != '\\') base += '/';
    base += prefix;
    // CREATE_NEW fails when the name exists, so a collision costs one more attempt; the
    // bound only stops a folder that refuses every name.
    Code code = ERROR_FILE_EXISTS;
    for (int attempt = 0; attempt < 100 && IsAlreadyExists(code); ++attempt) {
        std::string candidate = base;
        for (int i = 0; i < 6; ++i) candidate += kLetters[pick(random)];
        candidate += suffix;
        OpenRequest request;
        request.access = Access::ReadWrite;
        request.create = true;
        request.exclusive = true;
        code = Open(candidate, request, out);
        if (code == 0) path.swap(candidate); // no allocation once the file exists
    }
    return code;
}

std::string TemporaryDirectory() {
    wchar_t buffer[MAX_PATH + 2];
    const DWORD n = GetTempPathW(MAX_PATH + 2, buffer);
    if (n == 0 || n > MAX_PATH + 1) return "C:/Windows/Temp";
    std::wstring folder(buffer, n);
    while (folder.size() > 3 && (folder.back() == L'\\' || folder.back() == L'/'))
        folder.pop_back();
    return win32::NarrowPath(folder);
}

Code Map(Handle handle, std::size_t size, bool writable, void *&address) {
    const auto wide = static_cast<std::uint64_t>(size);
    HANDLE mapping = CreateFileMappingW(
        ToHandle(handle), nullptr, writable ? PAGE_READWRITE : PAGE_READONLY,
        static_cast<DWORD>(wide >> 32), static_cast<DWORD>(wide & 0xFFFFFFFFu), nullptr);
    if (!mapping) return Last();
    void *p = MapViewOfFile(mapping, writable ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, size);
    const Code code = p ? 0 : Last();
    // The view keeps the mapping object alive.
    CloseHandle(mapping);
    if (code == 0) address = p;
    return code;
}

Code Unmap(void *address, std::size_t) { return UnmapViewOfFile(address) ? 0 : Last(); }

std::size_t PageSize() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize ? info.dwPageSize : 4096;
}

Code IsLocal(Handle handle, bool &local) {
    std::wstring name(MAX_PATH + 1, L'\0');
    for (;;) {
        const DWORD n = GetFinalPathNameByHandleW(ToHandle(handle), name.data(),
                                                  static_cast<DWORD>(name.size()),
                                                  FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
        if (n == 0) return Last();
        // A result that does not fit comes back as the size it needs, terminator included.
        const bool fits = n < name.size();
        name.resize(n);
        if (fits) break;
    }
    if (name.rfind(L"\\\\?\\", 0) == 0) name.erase(0, 4);
    if (name.rfind(L"UNC\\", 0) == 0 || name.rfind(L"\\\\", 0) == 0) {
        local = false;
        return 0;
    }
    local = name.size() < 2 || name[1] != L':' ||
            GetDriveTypeW((name.substr(0, 2) + L"\\").c_str()) != DRIVE_REMOTE;
    return 0;
}

} // namespace orvik::port::fs
