#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "values/property_list.h"

namespace platform
{

/// Why a directory operation did not answer.
struct DirectoryError {
    std::int32_t code = 0;
    std::string description; ///< For a person, localized where the service can.
};

/// One record of a directory node: attribute name → values.
class DirectoryRecord
{
public:
    virtual ~DirectoryRecord() = default;
    virtual std::string recordType() const = 0;
    virtual std::string recordName() const = 0;
    /// Null when the attribute is missing or cannot be read.
    virtual std::optional<roamer::Array> valuesForAttribute(const std::string& attribute) const = 0;
    /// Attribute → array. No list: all attributes; "axAttributesAll", "axAttributesStandardAll" and
    /// "axAttributesNativeAll" in a list stand for groups. Null when there are none.
    virtual std::optional<roamer::Dictionary>
    recordDetailsForAttributes(const std::optional<std::vector<std::string>>& attributes) const = 0;
};

class DirectoryNode
{
public:
    virtual ~DirectoryNode() = default;
    virtual std::string nodeName() const = 0;
    /// The record; null with error code 0 when there is none of that name; null with another code on failure.
    virtual std::shared_ptr<DirectoryRecord> lookUp(const std::string& recordType, const std::string& name,
                                                    const std::vector<std::string>& attributes,
                                                    DirectoryError& error) = 0;
    /// The names of all records of the type, in order; none when there are none or they cannot be listed.
    virtual std::vector<std::string> recordNames(const std::string& recordType) = 0;
};

inline constexpr std::uint32_t kLocalNodeType = 0x2200;

class DirectoryService
{
public:
    virtual ~DirectoryService() = default;
    /// The node of the default session; null with the error set when it cannot be opened.
    virtual std::shared_ptr<DirectoryNode> openNode(std::uint32_t nodeType, DirectoryError& error) = 0;
    /// The login name of the user this process runs for.
    virtual std::string loginName() = 0;
};

} // namespace platform
