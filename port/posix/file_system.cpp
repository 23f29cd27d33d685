// POSIX implementation of the file system calls (see port/file_system.hpp).
#include "port/file_system.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/uio.h>
#include <unistd.h>

namespace orvik::port::fs {
namespace {

int ToFd(Handle h) { return static_cast<int>(h); }

// Super-block magic numbers of network and cluster file systems (Linux statfs f_type).
// Mapping a file on one of these is unsafe or slow, so they count as "not local". FUSE is
// included because most FUSE file systems in use are remote (sshfs and the like).
constexpr unsigned long kRemoteMagic[] = {
    0x6969,     // NFS
    0x517B,     // SMB
    0xFF534D42, // CIFS
    0xFE534D42, // SMB2
    0x73757245, // Coda
    0x5346414F, // AFS
    0x01021997, // 9P
    0x00C36400, // Ceph
    0x65735546, // FUSE
    0x01161970, // GFS2
    0x7461636F, // OCFS2
    0x0BD00BD0, // Lustre
    0x564C,     // NCP
};

} // namespace

std::string SystemReason(Code code) {
    char buf[256];
    // GNU strerror_r returns the text (possibly a static one) rather than filling buf.
#if defined(__GLIBC__) && defined(_GNU_SOURCE)
    return std::string(strerror_r(code, buf, sizeof buf));
#else
    if (strerror_r(code, buf, sizeof buf) != 0) return "Unknown error " + std::to_string(code);
    return std::string(buf);
#endif
}

bool IsNotFound(Code code) { return code == ENOENT || code == ENOTDIR; }
bool IsMissing(Code code) { return code == ENOENT; }
bool IsAlreadyExists(Code code) { return code == EEXIST; }
bool IsCrossDevice(Code code) { return code == EXDEV; }
Code FileTooLargeCode() { return EFBIG; }
Code NoSpaceCode() { return ENOSPC; }
Code IoErrorCode() { return EIO; }

Code Open(const std::string &path, const OpenRequest &request, Handle &out) {
    int flags = O_CLOEXEC;
    switch (request.access) {
    case Access::ReadOnly:
        flags |= O_RDONLY;
        break;
    case Access::WriteOnly:
        flags |= O_WRONLY;
        break;
    case Access::ReadWrite:
        flags |= O_RDWR;
        break;
    }
    if (request.create) flags |= O_CREAT;
    if (request.truncate) flags |= O_TRUNC;
    if (request.exclusive) flags |= O_EXCL;
    int fd;
    do {
        fd = ::open(path.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return errno;
    struct stat st;
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        return EISDIR;
    }
    out = fd;
    return 0;
}

Code Close(Handle handle) {
    // Linux closes the descriptor even when close reports EINTR; retrying would be wrong.
    if (::close(ToFd(handle)) != 0 && errno != EINTR) return errno;
    return 0;
}

Code ReadAt(Handle handle, void *buffer, std::size_t count, std::int64_t position,
            std::size_t &done) {
    done = 0;
    auto *p = static_cast<char *>(buffer);
    while (done < count) {
        ssize_t n = ::pread(ToFd(handle), p + done, count - done, position + done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

Code WriteAt(Handle handle, const void *buffer, std::size_t count, std::int64_t position,
             std::size_t &done) {
    done = 0;
    auto *p = static_cast<const char *>(buffer);
    while (done < count) {
        ssize_t n = ::pwrite(ToFd(handle), p + done, count - done, position + done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (n == 0) return FileTooLargeCode();
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

namespace {

// Moves the pieces with preadv / pwritev, at most IOV_MAX of them a call, resuming after a
// short transfer in the middle of a piece.
template <class Call>
Code Vectored(const Piece *pieces, std::size_t count, std::int64_t position, std::size_t &done,
              bool reading, Call &&call) {
    done = 0;
    std::size_t at = 0;   // first piece not wholly moved
    std::size_t skip = 0; // bytes of it already moved
    iovec vec[IOV_MAX];
    while (at < count) {
        int n = 0;
        for (std::size_t i = at; i < count && n < IOV_MAX; ++i, ++n) {
            const std::size_t off = i == at ? skip : 0;
            vec[n].iov_base = static_cast<char *>(pieces[i].bytes) + off;
            vec[n].iov_len = pieces[i].count - off;
        }
        const ssize_t moved = call(vec, n, position + static_cast<std::int64_t>(done));
        if (moved < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (moved == 0) {
            bool left = false;
            for (int i = 0; i < n && !left; ++i) left = vec[i].iov_len != 0;
            if (!left) { // only empty pieces were left
                at = count;
                break;
            }
            return reading ? 0 : FileTooLargeCode();
        }
        done += static_cast<std::size_t>(moved);
        auto rest = static_cast<std::size_t>(moved);
        while (at < count && rest >= pieces[at].count - skip) {
            rest -= pieces[at].count - skip;
            skip = 0;
            ++at;
        }
        skip += rest;
    }
    return 0;
}

} // namespace

Code ReadAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
             std::size_t &done) {
    return Vectored(pieces, count, position, done, true,
                    [&](const iovec *v, int n, std::int64_t at) {
                        return ::preadv(ToFd(handle), v, n, static_cast<off_t>(at));
                    });
}

Code WriteAtV(Handle handle, const Piece *pieces, std::size_t count, std::int64_t position,
              std::size_t &done) {
    return Vectored(pieces, count, position, done, false,
                    [&](const iovec *v, int n, std::int64_t at) {
                        return ::pwritev(ToFd(handle), v, n, static_cast<off_t>(at));
                    });
}

Code SizeOf(Handle handle, std::int64_t &size) {
    struct stat st;
    if (::fstat(ToFd(handle), &st) != 0) return errno;
    size = st.st_size;
    return 0;
}

// Open-file-description locks belong to the open, not to the process, so a second open in the
// same process is refused as well, and closing another descriptor of the file keeps them.
Code LockForWriting(Handle handle) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0; // the whole file, also as it grows
    return ::fcntl(ToFd(handle), F_OFD_SETLK, &lock) == 0 ? 0 : errno;
}
bool IsLockHeld(Code code) { return code == EAGAIN || code == EACCES; }
bool IsLockUnsupported(Code code) {
    return code == ENOLCK || code == EINVAL || code == EOPNOTSUPP || code == ENOSYS;
}

Code Resize(Handle handle, std::int64_t size) {
    return ::ftruncate(ToFd(handle), static_cast<off_t>(size)) == 0 ? 0 : errno;
}

Code TypeOf(const std::string &path, EntryType &type) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        if (IsNotFound(errno)) {
            type = EntryType::Missing;
            return 0;
        }
        return errno;
    }
    type = S_ISREG(st.st_mode)   ? EntryType::File
           : S_ISDIR(st.st_mode) ? EntryType::Directory
                                 : EntryType::Other;
    return 0;
}

Code SizeOfPath(const std::string &path, std::int64_t &size) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return errno;
    if (S_ISDIR(st.st_mode)) return EISDIR;
    size = st.st_size;
    return 0;
}

Code FlushToDisk(Handle handle) {
    while (::fsync(ToFd(handle)) != 0) {
        if (errno != EINTR) return errno;
    }
    return 0;
}

Code MakeReadableByAll(Handle handle) { return ::fchmod(ToFd(handle), 0644) == 0 ? 0 : errno; }

void FlushFolder(const std::string &folder) {
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0) return;
    ::fsync(dir);
    ::close(dir);
}

Code Remove(const std::string &path) { return ::unlink(path.c_str()) == 0 ? 0 : errno; }
Code Rename(const std::string &from, const std::string &to) {
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}
Code MakeDirectory(const std::string &path) { return ::mkdir(path.c_str(), 0777) == 0 ? 0 : errno; }
Code RemoveDirectory(const std::string &path) { return ::rmdir(path.c_str()) == 0 ? 0 : errno; }

Code ListDirectory(const std::string &path, std::vector<std::string> &names) {
    // Owned so that the directory is closed even when an append throws.
    std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(path.c_str()), &::closedir);
    if (!dir) return errno;
    for (;;) {
        errno = 0;
        struct dirent *e = ::readdir(dir.get());
        if (!e) return errno;
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
        names.emplace_back(e->d_name);
    }
}

Code CreateUnique(const std::string &directory, const std::string &prefix,
                  const std::string &suffix, std::string &path, Handle &out) {
    std::string tmpl = directory;
    if (!tmpl.empty() && tmpl.back() != '/') tmpl += '/';
    tmpl += prefix;
    tmpl += "XXXXXX";
    tmpl += suffix;
    int fd = ::mkostemps(tmpl.data(), static_cast<int>(suffix.size()), O_CLOEXEC);
    if (fd < 0) return errno;
    path.swap(tmpl); // no allocation once the file exists
    out = fd;
    return 0;
}

std::string TemporaryDirectory() {
    const char *t = std::getenv("TMPDIR");
    if (t && *t) return t;
    return "/tmp";
}

Code Map(Handle handle, std::size_t size, bool writable, void *&address) {
    int prot = PROT_READ | (writable ? PROT_WRITE : 0);
    void *p = ::mmap(nullptr, size, prot, MAP_SHARED, ToFd(handle), 0);
    if (p == MAP_FAILED) return errno;
    address = p;
    return 0;
}

Code Unmap(void *address, std::size_t size) { return ::munmap(address, size) == 0 ? 0 : errno; }

std::size_t PageSize() {
    long n = ::sysconf(_SC_PAGESIZE);
    return n > 0 ? static_cast<std::size_t>(n) : 4096;
}

Code IsLocal(Handle handle, bool &local) {
    struct statfs sf;
    if (::fstatfs(ToFd(handle), &sf) != 0) return errno;
    local = true;
    for (unsigned long magic : kRemoteMagic) {
        if (static_cast<unsigned long>(static_cast<unsigned int>(sf.f_type)) == magic) {
            local = false;
        }
    }
    return 0;
}

} // namespace orvik::port::fs
