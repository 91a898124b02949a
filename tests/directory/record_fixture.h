#pragma once

#include <gtest/gtest.h>

#include "directory/amru_vex_record.h"
#include "directory/record_attributes.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_directory.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"

namespace roamer
{

/// Records with services that a test can look at.
class RecordFixture : public testing::Test
{
protected:
    using LiveRecord = std::shared_ptr<fakes::FakeDirectoryRecord>;

    static LiveRecord live(const char* type, Dictionary attributes)
    {
        return std::make_shared<fakes::FakeDirectoryRecord>(type, "jo", std::move(attributes));
    }
    static LiveRecord user(Dictionary attributes) { return live(kUserRecordType, std::move(attributes)); }

    AmruVEXRecord record(const char* type, Dictionary attributes)
    {
        return *AmruVEXRecord::vexrecordWithRecord(context, live(type, std::move(attributes)));
    }

    static std::string xml(const std::string& content) { return "<plist version=\"1.0\">" + content + "</plist>"; }

    fakes::RecordingLog log;
    fakes::FakeDirectory directory;
    fakes::FakeIdentityService identity;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    DirectoryContext context{directory, identity, *codec};
};

} // namespace roamer
