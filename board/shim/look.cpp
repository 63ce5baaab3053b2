#include "shim/look.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include "shim/kernel.h"
#include "shim/nodes.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

template <typename Record>
void mark(void *record, wire::node node)
{
    Record *const status = static_cast<Record *>(record);
    const device_number device = device_of(node);

    status->st_rdev = makedev(device.major, device.minor);
    status->st_ino = inode_of(node);
}

/* The path that libc's function gets in place of the program's. */
const char *stand_in(const std::optional<wire::node> &node, const char *path)
{
    return node ? look_alike : path;
}

int missing()
{
    return as_libc(-ENOSYS);
}

using marker = void(void *, wire::node);

int look(stat_function *const &real, marker *mark, const char *path, void *record)
{
    const std::optional<wire::node> node = find_node(AT_FDCWD, path);
    if (real == nullptr)
        return missing();
    const int result = real(stand_in(node, path), record);
    if (result == 0 && node)
        mark(record, *node);
    return result;
}

int look_at(fstatat_function *const &real, marker *mark, int directory, const char *path, void *record,
            int flags)
{
    const std::optional<wire::node> node = find_node(directory, path);
    if (real == nullptr)
        return missing();
    const int result = real(directory, stand_in(node, path), record, flags);
    if (result == 0 && node)
        mark(record, *node);
    return result;
}

/*
 * The forms of older programs begin with the version of the record; only this one has the layout known here.
 */
#ifdef __LP64__
constexpr int record_version = 1;
#else
constexpr int record_version = 3;
#endif

int look_old(xstat_function *const &real, marker *mark, int version, const char *path, void *record)
{
    const std::optional<wire::node> node = find_node(AT_FDCWD, path);
    if (real == nullptr)
        return missing();
    const int result = real(version, stand_in(node, path), record);
    if (result == 0 && node && version == record_version)
        mark(record, *node);
    return result;
}

int look_old_at(fxstatat_function *const &real, marker *mark, int version, int directory, const char *path,
                void *record, int flags)
{
    const std::optional<wire::node> node = find_node(directory, path);
    if (real == nullptr)
        return missing();
    const int result = real(version, directory, stand_in(node, path), record, flags);
    if (result == 0 && node && version == record_version)
        mark(record, *node);
    return result;
}

/* ls asks for the access control list of all that it lists. */
ssize_t attribute(getxattr_function *const &real, const char *path, const char *name, void *value,
                  size_t size)
{
    const std::optional<wire::node> node = find_node(AT_FDCWD, path);

    return real == nullptr ? missing() : real(stand_in(node, path), name, value, size);
}

int may_access(access_function *const &real, const char *path, int mode)
{
    const std::optional<wire::node> node = find_node(AT_FDCWD, path);

    return real == nullptr ? missing() : real(stand_in(node, path), mode);
}

} // namespace

} // namespace orka::board::shim

using namespace orka::board;

extern "C" {

int access(const char *path, int mode) noexcept
{
    return shim::may_access(shim::real.access, path, mode);
}

int eaccess(const char *path, int mode) noexcept
{
    return shim::may_access(shim::real.eaccess, path, mode);
}

int euidaccess(const char *path, int mode) noexcept
{
    return shim::may_access(shim::real.euidaccess, path, mode);
}

int faccessat(int directory, const char *path, int mode, int flags) noexcept
{
    const std::optional<orka::wire::node> node = shim::find_node(directory, path);

    if (shim::real.faccessat == nullptr)
        return shim::missing();
    return shim::real.faccessat(directory, shim::stand_in(node, path), mode, flags);
}

int stat(const char *path, struct stat *record) noexcept
{
    return shim::look(shim::real.stat, shim::mark<struct stat>, path, record);
}

int lstat(const char *path, struct stat *record) noexcept
{
    return shim::look(shim::real.lstat, shim::mark<struct stat>, path, record);
}

int stat64(const char *path, struct stat64 *record) noexcept
{
    return shim::look(shim::real.stat64, shim::mark<struct stat64>, path, record);
}

int lstat64(const char *path, struct stat64 *record) noexcept
{
    return shim::look(shim::real.lstat64, shim::mark<struct stat64>, path, record);
}

int fstatat(int directory, const char *path, struct stat *record, int flags) noexcept
{
    return shim::look_at(shim::real.fstatat, shim::mark<struct stat>, directory, path, record, flags);
}

int fstatat64(int directory, const char *path, struct stat64 *record, int flags) noexcept
{
    return shim::look_at(shim::real.fstatat64, shim::mark<struct stat64>, directory, path, record, flags);
}

#ifndef __LP64__

int __stat64_time64(const char *path, void *record)
{
    return shim::look(shim::real.stat_time64, shim::mark_time64, path, record);
}

int __lstat64_time64(const char *path, void *record)
{
    return shim::look(shim::real.lstat_time64, shim::mark_time64, path, record);
}

int __fstatat64_time64(int directory, const char *path, void *record, int flags)
{
    return shim::look_at(shim::real.fstatat_time64, shim::mark_time64, directory, path, record, flags);
}

#endif

int __xstat(int version, const char *path, struct stat *record) noexcept
{
    return shim::look_old(shim::real.xstat, shim::mark<struct stat>, version, path, record);
}

int __lxstat(int version, const char *path, struct stat *record) noexcept
{
    return shim::look_old(shim::real.lxstat, shim::mark<struct stat>, version, path, record);
}

int __xstat64(int version, const char *path, struct stat64 *record) noexcept
{
    return shim::look_old(shim::real.xstat64, shim::mark<struct stat64>, version, path, record);
}

int __lxstat64(int version, const char *path, struct stat64 *record) noexcept
{
    return shim::look_old(shim::real.lxstat64, shim::mark<struct stat64>, version, path, record);
}

int __fxstatat(int version, int directory, const char *path, struct stat *record, int flags) noexcept
{
    return shim::look_old_at(shim::real.fxstatat, shim::mark<struct stat>, version, directory, path, record,
                             flags);
}

int __fxstatat64(int version, int directory, const char *path, struct stat64 *record, int flags) noexcept
{
    return shim::look_old_at(shim::real.fxstatat64, shim::mark<struct stat64>, version, directory, path,
                             record, flags);
}

ssize_t getxattr(const char *path, const char *name, void *value, size_t size) noexcept
{
    return shim::attribute(shim::real.getxattr, path, name, value, size);
}

ssize_t lgetxattr(const char *path, const char *name, void *value, size_t size) noexcept
{
    return shim::attribute(shim::real.lgetxattr, path, name, value, size);
}

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *record) noexcept
{
    const std::optional<orka::wire::node> node = shim::find_node(directory, path);
    if (shim::real.statx == nullptr)
        return shim::missing();
    const int result = shim::real.statx(directory, shim::stand_in(node, path), flags, mask, record);
    if (result == 0 && node) {
        record->stx_rdev_major = shim::device_of(*node).major;
        record->stx_rdev_minor = shim::device_of(*node).minor;
        record->stx_ino = shim::inode_of(*node);
    }
    return result;
}

} // extern "C"
