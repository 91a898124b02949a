#pragma once

#include "platform/directory_service.h"

namespace fakes
{

/// A directory record out of a table: attribute -> array.
class FakeDirectoryRecord final : public platform::DirectoryRecord
{
public:
    FakeDirectoryRecord(std::string type, std::string name, roamer::Dictionary attributes)
        : mType(std::move(type)), mName(std::move(name)), mAttributes(std::move(attributes))
    {
    }

    std::string recordType() const override { return mType; }
    std::string recordName() const override { return mName; }
    std::optional<roamer::Array> valuesForAttribute(const std::string& attribute) const override
    {
        asked.push_back(attribute);
        return mAttributes.contains(attribute) ? *mAttributes.at(attribute).as<roamer::Array>()
                                               : std::optional<roamer::Array>();
    }
    /// All of them, whatever is asked for.
    std::optional<roamer::Dictionary>
    recordDetailsForAttributes(const std::optional<std::vector<std::string>>&) const override
    {
        return mAttributes;
    }

    mutable std::vector<std::string> asked; ///< Attributes whose values were asked for, in order.

private:
    std::string mType;
    std::string mName;
    roamer::Dictionary mAttributes;
};

/// A directory of one node, with records by type and name and errors on demand.
class FakeDirectory final : public platform::DirectoryService
{
public:
    std::map<std::pair<std::string, std::string>, roamer::Dictionary> records; ///< (type, name) -> attributes.
    std::string login = "jo";
    platform::DirectoryError openError;   ///< A code other than 0: the node does not open.
    platform::DirectoryError lookUpError; ///< A code other than 0: no look-up works.

    std::shared_ptr<platform::DirectoryNode> openNode(std::uint32_t, platform::DirectoryError& error) override
    {
        error = openError;
        return openError.code == 0 ? std::make_shared<Node>(*this) : nullptr;
    }
    std::string loginName() override { return login; }

private:
    class Node final : public platform::DirectoryNode
    {
    public:
        explicit Node(FakeDirectory& directory) : mDirectory(directory) {}
        std::string nodeName() const override { return "/Local/Default"; }
        std::shared_ptr<platform::DirectoryRecord> lookUp(const std::string& recordType, const std::string& name,
                                                          const std::vector<std::string>&,
                                                          platform::DirectoryError& error) override
        {
            error = mDirectory.lookUpError;
            const auto item = mDirectory.records.find({recordType, name});
            if (error.code != 0 || item == mDirectory.records.end()) return nullptr;
            return std::make_shared<FakeDirectoryRecord>(recordType, name, item->second);
        }
        std::vector<std::string> recordNames(const std::string& recordType) override
        {
            std::vector<std::string> names;
            for (const auto& [key, attributes] : mDirectory.records) {
                if (key.first == recordType) names.push_back(key.second);
            }
            return names;
        }

    private:
        FakeDirectory& mDirectory;
    };
};

} // namespace fakes
