// Internal: the operating-system calls of the file layer. One implementation per platform
// (port/posix/, port/win32/); nothing else in the library calls the system for files. Paths
// are UTF-8 with "/" separators (a Windows implementation also accepts "\").
// Every call returns the system error code (0 for success); SystemReason turns a code into
// the system's text. Thread-safe as the underlying system calls are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orvik::port::fs {

using Handle = std::intptr_t;
constexpr Handle kInvalidHandle = -1;

// System error code; 0 means success.
using Code = int;

enum class Access { ReadOnly, WriteOnly, ReadWrite };

struct OpenRequest {
    Access access = Access::ReadOnly;
    bool create = false;
    bool truncate = false;
    bool exclusive = false;
};

std::string SystemReason(Code code);

// Codes that callers branch on.
bool IsNotFound(Code code); // the entry or a folder on its path is missing
bool IsMissing(Code code);  // the same, except where a file stands in for a folder
bool IsAlreadyExists(Code code);
// Code of "file too large" (used when a write stops short without a system error).
Code FileTooLargeCode();
// Codes of a full disk and of a failing device (the I/O fault seam of the file layer uses them).
Code NoSpaceCode();
Code IoErrorCode();

Code Open(const std::string &path, const OpenRequest &request, Handle &out);
Code Close(Handle handle);

// Positioned transfers. `done` receives the bytes moved; a read stops early only at the end
// of the file (done < count, code 0). A write that stores nothing without a system error
// gives FileTooLargeCode().
Code ReadAt(Handle handle, void *buffer, std::size_t count, std::int64_t position,
            std::size_t &done);
Code WriteAt(Handle handle, const void *buffer, std::size_t count, std::int64_t position,
             std::size_t &done);

// Vectored forms: the pieces lie one after another in the file from `position` on and move
// in as few system calls as the system allows (a plain loop of the calls above where it has
// no vectored one). Same rules for `done` and the end of the file. A write leaves the
// pieces' bytes unchanged.
struct Piece {
    void *bytes;
    std::size_t count;
};
Code ReadAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
             std::size_t &done);
Code WriteAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
              std::size_t &done);

Code SizeOf(Handle handle, std::int64_t &size);
// Writes the file's data through to the disk.
Code FlushToDisk(Handle handle);
// Lets every user read the file and its owner write it (POSIX mode 0644; nothing to do where
// the folder's permissions decide).
Code MakeReadableByAll(Handle handle);
// Makes renames inside `folder` durable; best effort (a folder that cannot be synced is not
// an error of the rename).
void FlushFolder(const std::string &folder);

// Takes the advisory writer's lock of the file, held by this open until it is closed:
// other opens that ask for it (in this or another process) are refused with a code for which
// IsLockHeld is true; plain readers are never blocked. A file system without locks gives
// IsLockUnsupported codes (the caller goes on without the lock).
Code LockForWriting(Handle handle);
bool IsLockHeld(Code code);
bool IsLockUnsupported(Code code);
// Cuts or extends the file to `size` bytes.
Code Resize(Handle handle, std::int64_t size);

enum class EntryType { Missing, File, Directory, Other };
Code TypeOf(const std::string &path, EntryType &type);
Code SizeOfPath(const std::string &path, std::int64_t &size);

Code Remove(const std::string &path);
// Replaces `to` when it exists (as one step where the system allows). Fails with the
// cross-device code when the two lie on different file systems.
Code Rename(const std::string &from, const std::string &to);
bool IsCrossDevice(Code code);
Code MakeDirectory(const std::string &path);
Code RemoveDirectory(const std::string &path);

// Names in `path` (without "." and ".."), in the order the system gives them.
Code ListDirectory(const std::string &path, std::vector<std::string> &names);

// Creates a new file exclusively, named directory/prefix + random part + suffix; the
// created path is returned in `path`, the open handle in `out`.
Code CreateUnique(const std::string &directory, const std::string &prefix,
                  const std::string &suffix, std::string &path, Handle &out);
// The directory for temporary files ($TMPDIR or the system default).
std::string TemporaryDirectory();

// Maps `size` bytes of the file from offset 0 (shared, so writes reach the file).
Code Map(Handle handle, std::size_t size, bool writable, void *&address);
Code Unmap(void *address, std::size_t size);
std::size_t PageSize();

// Whether the file lies on a file system of this machine (not a network file system).
Code IsLocal(Handle handle, bool &local);

} // namespace orvik::port::fs
