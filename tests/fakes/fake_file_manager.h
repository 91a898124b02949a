#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/file_manager.h"

namespace fakes
{

/// One file in one folder, whose steps fail as a test wants.
class FakeFileManager final : public platform::FileManager
{
public:
    std::optional<std::string> content; ///< Null: there is no file.
    RefNum open = 0;                    ///< The number under which the file is open.
    bool hidden = false;

    int folderError = 0;
    int openError = 0;        ///< Of an open that denies writing.
    int plainOpenError = 0;   ///< Of one that does not.
    int readError = 0;        ///< Of reading, after all.
    int bookkeepingError = 0; ///< Of hiding, writing, emptying, flushing, closing.

    int readFolderIdentity(const std::string&, FolderIdentity&) override { return folderError; }
    int createFile(const std::string&, const std::string&) override
    {
        if (content) return EEXIST;
        content = "";
        return 0;
    }
    int hideFile(const std::string&, const std::string&) override
    {
        hidden = true;
        return bookkeepingError;
    }
    Opened openFile(const std::string&, const std::string&, Access access) override
    {
        const int error = access == Access::ReadWriteDenyWrite ? openError : plainOpenError;
        if (open != 0) return {platform::kFileOpenForWriting, open};
        if (error != 0) return {error, 0};
        return {0, open = ++mLast};
    }
    Got readFile(RefNum, std::uint64_t, std::span<std::byte> buffer) override
    {
        if (readError != 0) return {readError, 0};
        const auto count = std::min(buffer.size(), content->size());
        std::memcpy(buffer.data(), content->data(), count);
        return {count < buffer.size() ? platform::kFileAtEnd : 0, count};
    }
    int writeFile(RefNum, std::uint64_t offset, std::span<const std::byte> bytes) override
    {
        content->resize(std::max<std::size_t>(content->size(), offset + bytes.size()));
        std::memcpy(content->data() + offset, bytes.data(), bytes.size());
        return bookkeepingError;
    }
    int setFileLength(RefNum, std::uint64_t bytes) override
    {
        content->resize(bytes);
        return bookkeepingError;
    }
    int flushFile(RefNum) override { return bookkeepingError; }
    int closeFile(RefNum file) override
    {
        if (file != open) return EBADF;
        open = 0;
        return bookkeepingError;
    }
    int deleteFile(const std::string&, const std::string&) override
    {
        if (!content) return ENOENT;
        content.reset();
        return 0;
    }

private:
    RefNum mLast = 6;
};

} // namespace fakes
