#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "directory/amru_vex_record.h"
#include "platform/directory_service.h"

namespace roamer
{

/// The directory's code for "there is no such record".
inline constexpr std::int32_t kRecordNotFound = -14136;

/// Finds the record of the user that this process runs for.
class UserAccount
{
public:
    /// Borrows all of them. `userRecord` is what is filled in; it is null until then.
    UserAccount(std::optional<AmruVEXRecord>& userRecord, platform::DirectoryService& directory,
                DirectoryContext& context);

    /// Reads the record unless it is known already. 0, and the record is there; or kRecordNotFound, or another code of
    /// the directory service, and it is null as before. Logs what it found; failures but kRecordNotFound are reported
    /// to the administrator.
    std::int32_t checkUserInfo();

private:
    std::int32_t acquireRecord();
    std::int32_t failed(const char* step, const std::string& loginName, const platform::DirectoryError& error) const;

    std::optional<AmruVEXRecord>& mUserRecord;
    platform::DirectoryService& mDirectory;
    DirectoryContext& mContext;
};

} // namespace roamer
