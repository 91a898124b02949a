#include "user_account.h"

#include <string_view>
#include <utility>

#include "directory/record_attributes.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/pseudo_xml.h"
#include "util/report.h"
#include "util/url_text.h"

namespace roamer
{

namespace
{

/// A home description as a log may show it. One whose URL carries a name or password shows the rest of the URL alone:
/// in the description the URL is escaped, so what to take out of it cannot be found there.
std::optional<std::string> homeLocForLog(const std::optional<std::string>& location)
{
    const auto parts = dictionaryWithPseudoXMLString(location ? &*location : nullptr);
    if (parts && parts->contains("url")) {
        const auto& url = parts->at("url");
        auto shown = urlWithoutUserInfo(std::string_view(url));
        if (shown != url) return shown;
    }
    return urlWithoutUserInfo(location);
}

void logRecord(const AmruVEXRecord& record)
{
    DebugLog(2,
             "Pavo.checkUserInfo: [mUserRecord longName]=\"%s\", [mUserRecord recordName]=\"%s\", "
             "[mUserRecord uid]=%d,",
             logText(record.longName()), logText(record.recordName()), static_cast<int>(record.uid()));
    DebugLog(2,
             "Pavo.checkUserInfo: [mUserRecord home]=\"%s\", [mUserRecord originalHome]=\"%s\", "
             "[mUserRecord originalHomeLoc]=\"%s\"",
             logText(record.home()), logText(record.originalHome()), logText(homeLocForLog(record.originalHomeLoc())));
    DebugLog(2, "Pavo.checkUserInfo: [mUserRecord isMobileUserAccount]=%d", record.isMobileUserAccount());
}

} // namespace

UserAccount::UserAccount(std::optional<AmruVEXRecord>& userRecord, platform::DirectoryService& directory,
                         DirectoryContext& context)
    : mUserRecord(userRecord), mDirectory(directory), mContext(context)
{
}

std::int32_t UserAccount::checkUserInfo()
{
    if (mUserRecord) {
        DebugLog(2, "Pavo.checkUserInfo - user info already known");
    } else if (const auto error = acquireRecord(); error != 0) {
        return error;
    }
    if (mUserRecord) logRecord(*mUserRecord);
    return 0;
}

std::int32_t UserAccount::acquireRecord()
{
    DebugLog(2, "Pavo.checkUserInfo - acquiring user info");
    const auto loginName = mDirectory.loginName();
    platform::DirectoryError error;
    const auto node = mDirectory.openNode(platform::kLocalNodeType, error);
    if (error.code != 0) return failed("opening the local node", loginName, error);

    if (node != nullptr) {
        auto record = node->lookUp(kUserRecordType, loginName, {kAllStandardAttributes}, error);
        if (error.code == 0) mUserRecord = AmruVEXRecord::vexrecordWithRecord(mContext, std::move(record));
    }
    if (error.code == 0 && !mUserRecord) error.code = kRecordNotFound;
    return error.code != 0 ? failed("the record look-up", loginName, error) : 0;
}

std::int32_t UserAccount::failed(const char* step, const std::string& loginName,
                                 const platform::DirectoryError& error) const
{
    if (error.code == kRecordNotFound) {
        DebugLog(1, "Pavo.checkUserInfo: %s of \"%s\" for user \"%s\" failed, error = %d (Record Not Found)", step,
                 kUserRecordType, loginName.c_str(), error.code);
    } else {
        report(formatText("Pavo.checkUserInfo: %s of \"%s\" for user \"%s\" failed, error = %d (%s)", step,
                          kUserRecordType, loginName.c_str(), error.code, error.description.c_str()));
    }
    return error.code;
}

} // namespace roamer
