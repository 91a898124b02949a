#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace platform
{

/// The conditions that callers tell apart. Every other failure is the system's own error number, which is positive.
inline constexpr int kFileOk = 0;
inline constexpr int kFileNoFolder = -1;        ///< The path leads to no folder, or to a link.
inline constexpr int kFileAtEnd = -39;          ///< Fewer bytes were there than asked for.
inline constexpr int kFileOpenForWriting = -49; ///< This process has the file open for writing.
inline constexpr int kFileNoDenyMode = -50;     ///< The volume cannot keep others from writing.
inline constexpr int kFileNoPermission = -54;
inline constexpr int kFileDeniedByOther = -5006; ///< Somebody else has the file and denies writing.

/// Files that are held open and may deny writing to others, on this machine and through the servers that pass it on.
///
/// A file is named by its folder and its name in it. Neither may be a symbolic link: what one leads to is never
/// opened, made or deleted. Product paths get the system root in front. All of it is done as the effective user of the
/// process at the time of the call.
class FileManager
{
public:
    /// An open file of this process; 0 is none. Numbers come back only after very many others.
    using RefNum = std::int16_t;

    struct FolderIdentity {
        std::uint64_t volume = 0;
        std::uint64_t folder = 0;
    };
    enum class Access {
        ReadWrite,
        ReadWriteDenyWrite, ///< Nobody else may open the file in this way while it is open.
    };
    struct Opened {
        int error = kFileOk;
        RefNum refNum = 0; ///< Also set with kFileOpenForWriting: the number under which the file is open already.
    };
    struct Got {
        int error = kFileOk; ///< kFileAtEnd when less than the whole buffer was filled.
        std::size_t bytes = 0;
    };

    virtual ~FileManager() = default;

    /// kFileNoFolder, or why the folder's identity cannot be read.
    virtual int readFolderIdentity(const std::string& folder, FolderIdentity& identity) = 0;
    /// An empty file; EEXIST when there is anything of that name.
    virtual int createFile(const std::string& folder, const std::string& name) = 0;
    /// Keeps the file out of people's sight, as far as its volume knows how. Where names that begin with a dot are out
    /// of sight anyway and the volume has no mark of its own, nothing is done.
    virtual int hideFile(const std::string& folder, const std::string& name) = 0;
    virtual Opened openFile(const std::string& folder, const std::string& name, Access access) = 0;
    virtual Got readFile(RefNum file, std::uint64_t offset, std::span<std::byte> buffer) = 0;
    /// All of the bytes, or an error.
    virtual int writeFile(RefNum file, std::uint64_t offset, std::span<const std::byte> bytes) = 0;
    virtual int setFileLength(RefNum file, std::uint64_t bytes) = 0;
    /// What was written is on the disk or the server when this returns.
    virtual int flushFile(RefNum file) = 0;
    /// The number is free afterwards, also after an error.
    virtual int closeFile(RefNum file) = 0;
    virtual int deleteFile(const std::string& folder, const std::string& name) = 0;
};

} // namespace platform
