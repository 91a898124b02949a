#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/property_list.h"

namespace platform::far
{

// The conversation between a process and the workers that touch distant file systems for it: frames of a length (32
// bits in the machine's order) and a binary property list, a dictionary. Each question has one answer, in order.
//
// Paths, names and contents travel as data: they need not be UTF-8.

inline constexpr const char* kWorkerArgument = "--far-worker"; ///< Has the program serve as a worker.

// What a question holds besides what the call needs.
inline constexpr const char* kCall = "call";
inline constexpr const char* kUser = "user"; ///< The effective user that the work is done as.

// The calls.
inline constexpr const char* kExists = "exists";
inline constexpr const char* kIsDirectory = "isDirectory";
inline constexpr const char* kContentsOfDirectory = "contentsOfDirectory";
inline constexpr const char* kDirectoryIsReadable = "directoryIsReadable";
inline constexpr const char* kCreateDirectory = "createDirectory";
inline constexpr const char* kIsPackage = "isPackage";
inline constexpr const char* kReach = "reach";

inline constexpr const char* kReadWholeFile = "readWholeFile";
inline constexpr const char* kWriteWholeFile = "writeWholeFile";
inline constexpr const char* kReadFileInHome = "readFileInHome";
inline constexpr const char* kWriteFileInHome = "writeFileInHome";
inline constexpr const char* kWriteDomain = "writeDomain";

inline constexpr const char* kReadFolderIdentity = "readFolderIdentity";
inline constexpr const char* kCreateFile = "createFile";
inline constexpr const char* kHideFile = "hideFile";
inline constexpr const char* kOpenFile = "openFile";
inline constexpr const char* kReadFile = "readFile";
inline constexpr const char* kWriteFile = "writeFile";
inline constexpr const char* kSetFileLength = "setFileLength";
inline constexpr const char* kFlushFile = "flushFile";
inline constexpr const char* kCloseFile = "closeFile";
inline constexpr const char* kDeleteFile = "deleteFile";

// What they need and answer.
inline constexpr const char* kPath = "path";
inline constexpr const char* kName = "name";
inline constexpr const char* kBytes = "bytes";
inline constexpr const char* kNames = "names";
inline constexpr const char* kDictionary = "dictionary";
inline constexpr const char* kFlag = "flag"; ///< A yes or no, in either direction.
inline constexpr const char* kError = "error";
inline constexpr const char* kRefNum = "refNum";
inline constexpr const char* kOffset = "offset";
inline constexpr const char* kCount = "count";
inline constexpr const char* kVolume = "volume";
inline constexpr const char* kFolder = "folder";

inline roamer::Data dataOf(std::span<const std::byte> bytes)
{
    return {bytes.begin(), bytes.end()};
}

inline roamer::Data dataOf(std::string_view text)
{
    return dataOf(std::as_bytes(std::span(text)));
}

inline std::string textOf(const roamer::Data& data)
{
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

/// The value, or an empty one where the dictionary has none of the type.
template <typename T>
T valueOf(const roamer::Dictionary& dictionary, const char* key)
{
    const auto item = dictionary.find(key);
    const T* value = item != dictionary.end() ? item->second.as<T>() : nullptr;
    return value != nullptr ? *value : T{};
}

inline std::string textOf(const roamer::Dictionary& dictionary, const char* key)
{
    return textOf(valueOf<roamer::Data>(dictionary, key));
}

} // namespace platform::far
