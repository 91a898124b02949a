#include <fcntl.h>
#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim_system.h"

/// SQLite's files on the disks of the system that stands in. For one connection to a database at a time, so that its
/// locks need not hold anybody off.
namespace braid::sim
{

namespace
{

struct SimFile {
    sqlite3_file base;
    int descriptor;
    std::string* path;
};

SimFile& of(sqlite3_file* file)
{
    return *reinterpret_cast<SimFile*>(file);
}

disk::System& calls()
{
    return disk::system();
}

int failed(int otherwise)
{
    return errno == ENOSPC || errno == EDQUOT ? SQLITE_FULL : otherwise;
}

/// The folder of an absolute path, held open, and the name in it.
struct Parent {
    explicit Parent(const std::string& path)
        : folder(calls().open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY)),
          name(path.substr(path.rfind('/') + 1))
    {
    }
    ~Parent()
    {
        if (folder >= 0) calls().close(folder);
    }
    Parent(const Parent&) = delete;
    Parent& operator=(const Parent&) = delete;

    int folder;
    std::string name;
};

using Regions = std::vector<std::unique_ptr<char[]>>;
std::map<std::string, Regions> gShared; // the write-ahead log's index, by the database's path

int closeFile(sqlite3_file* file)
{
    calls().close(of(file).descriptor);
    delete of(file).path;
    return SQLITE_OK;
}

int readFile(sqlite3_file* file, void* bytes, int length, sqlite3_int64 offset)
{
    if (calls().lseek(of(file).descriptor, offset, SEEK_SET) < 0) return SQLITE_IOERR_READ;
    const ssize_t got = calls().read(of(file).descriptor, bytes, static_cast<std::size_t>(length));
    if (got < 0) return SQLITE_IOERR_READ;
    if (got == length) return SQLITE_OK;
    std::memset(static_cast<char*>(bytes) + got, 0, static_cast<std::size_t>(length - got));
    return SQLITE_IOERR_SHORT_READ;
}

int writeFile(sqlite3_file* file, const void* bytes, int length, sqlite3_int64 offset)
{
    if (calls().lseek(of(file).descriptor, offset, SEEK_SET) < 0) return SQLITE_IOERR_WRITE;
    const ssize_t put = calls().write(of(file).descriptor, bytes, static_cast<std::size_t>(length));
    return put == length ? SQLITE_OK : failed(SQLITE_IOERR_WRITE);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size)
{
    return calls().ftruncate(of(file).descriptor, size) == 0 ? SQLITE_OK : SQLITE_IOERR_TRUNCATE;
}

int syncFile(sqlite3_file* file, int)
{
    return calls().fsync(of(file).descriptor) == 0 ? SQLITE_OK : failed(SQLITE_IOERR_FSYNC);
}

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size)
{
    struct statx facts {
    };
    if (calls().statx(of(file).descriptor, "", AT_EMPTY_PATH, &facts) < 0) return SQLITE_IOERR_FSTAT;
    *size = static_cast<sqlite3_int64>(facts.stx_size);
    return SQLITE_OK;
}

int mapShared(sqlite3_file* file, int region, int size, int, void volatile** memory)
{
    Regions& regions = gShared[*of(file).path];
    while (regions.size() <= static_cast<std::size_t>(region))
        regions.push_back(std::make_unique<char[]>(static_cast<std::size_t>(size)));
    *memory = regions[static_cast<std::size_t>(region)].get();
    return SQLITE_OK;
}

int unmapShared(sqlite3_file* file, int)
{
    gShared.erase(*of(file).path);
    return SQLITE_OK;
}

const sqlite3_io_methods kMethods{
    2,
    closeFile,
    readFile,
    writeFile,
    truncateFile,
    syncFile,
    sizeOfFile,
    [](sqlite3_file*, int) { return SQLITE_OK; },
    [](sqlite3_file*, int) { return SQLITE_OK; },
    [](sqlite3_file*, int* isReserved) { return *isReserved = 0, SQLITE_OK; },
    [](sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; },
    [](sqlite3_file*) { return 4096; },
    [](sqlite3_file*) { return 0; },
    mapShared,
    [](sqlite3_file*, int, int, int) { return SQLITE_OK; },
    [](sqlite3_file*) {},
    unmapShared,
    nullptr,
    nullptr,
};

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* flagsOut)
{
    of(file).base.pMethods = nullptr;
    if (!path) return SQLITE_CANTOPEN; // no query here needs a temporary file
    const Parent parent{path};
    if (parent.folder < 0) return SQLITE_CANTOPEN;
    const int access = flags & SQLITE_OPEN_READWRITE ? O_RDWR : O_RDONLY;
    const int number =
        calls().openat(parent.folder, parent.name.c_str(), access | (flags & SQLITE_OPEN_CREATE ? O_CREAT : 0), 0600);
    if (number < 0) return SQLITE_CANTOPEN;
    of(file).descriptor = number;
    of(file).path = new std::string{path};
    of(file).base.pMethods = &kMethods;
    if (flagsOut) *flagsOut = flags;
    return SQLITE_OK;
}

int deleteFile(sqlite3_vfs*, const char* path, int)
{
    const Parent parent{path};
    if (parent.folder >= 0 && calls().unlinkat(parent.folder, parent.name.c_str(), 0) == 0) return SQLITE_OK;
    return errno == ENOENT ? SQLITE_IOERR_DELETE_NOENT : SQLITE_IOERR_DELETE;
}

int accessFile(sqlite3_vfs*, const char* path, int, int* isThere)
{
    struct statx facts {
    };
    *isThere = calls().statx(AT_FDCWD, path, 0, &facts) == 0 && facts.stx_size > 0;
    return SQLITE_OK;
}

int fullPath(sqlite3_vfs*, const char* path, int size, char* full)
{
    if (std::strlen(path) >= static_cast<std::size_t>(size)) return SQLITE_CANTOPEN;
    std::strcpy(full, path);
    return SQLITE_OK;
}

} // namespace

void redirectSqlite(bool on)
{
    sqlite3_initialize();
    static sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs vfs = [] {
        sqlite3_vfs made = *usual; // for its clock and random numbers
        made.iVersion = 1;
        made.szOsFile = sizeof(SimFile);
        made.pNext = nullptr;
        made.zName = "sim";
        made.xOpen = openFile;
        made.xDelete = deleteFile;
        made.xAccess = accessFile;
        made.xFullPathname = fullPath;
        return made;
    }();
    if (on) {
        sqlite3_vfs_register(&vfs, 1);
    } else {
        sqlite3_vfs_unregister(&vfs);
    }
}

} // namespace braid::sim
