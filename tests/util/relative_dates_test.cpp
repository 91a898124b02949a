#include <clocale>
#include <gtest/gtest.h>

#include "platform/linux/user_formats.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/small_services.h"
#include "tests/fakes/temp_environment.h"
#include "util/relative_dates.h"

namespace
{

using namespace roamer;
using namespace std::chrono;

Date utc(int year_, unsigned month_, unsigned day_, int hour, int minute)
{
    return sys_days{year{year_} / month{month_} / day{day_}} + hours(hour) + minutes(minute);
}

TEST(RelativeDates, NearDaysHaveNames)
{
    struct Case {
        const char* name;
        const char* zone;
        Date now, date;
        const char* withTime;
        const char* alone;
    } const cases[] = {
        {"a minute before midnight", "UTC0", utc(2026, 5, 14, 0, 1), utc(2026, 5, 13, 23, 59), "Yesterday at 23:59",
         "Gestern"},
        {"three days ago", "UTC0", utc(2026, 5, 14, 12, 0), utc(2026, 5, 11, 9, 5), "11.05.26 09:05", "11.05.26"},
        {"New Year's Eve seen on New Year", "UTC0", utc(2027, 1, 1, 8, 0), utc(2026, 12, 31, 23, 0), "31.12.26 23:00",
         "31.12.26"},
        {"days are local ones", "Asia/Tokyo", utc(2026, 5, 14, 14, 0), utc(2026, 5, 14, 15, 30), "Tomorrow at 00:30",
         "Tomorrow"},
        {"years too", "America/New_York", utc(2027, 1, 1, 3, 0), utc(2026, 12, 31, 4, 0), "Yesterday at 23:00",
         "Gestern"},
        {"across the start of summer time", "Europe/Berlin", utc(2026, 3, 29, 21, 30), utc(2026, 3, 28, 23, 30),
         "Heute um 00:30", "Heute"},
        {"before 1970", "Europe/Berlin", utc(2026, 5, 14, 12, 0), utc(1965, 7, 1, 0, 0), "01.07.65 01:00", "01.07.65"},
    };
    fakes::FakeBundles bundles;
    bundles.bundles["/b"].dictionaries["English/DateTime.strings"] = {
        {"Today at ", "Heute um "}, {"Today", "Heute"}, {"Yesterday", "Gestern"}};
    const auto bundle = bundles.bundleWithPath("/b");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const fakes::TempEnvironment environment{{"TZ", c.zone}};
        fakes::FakeRunLoop loop;
        loop.setDate(c.now);
        const fakes::FakeUserFormats formats;
        const RelativeDates dates(formats, loop);
        EXPECT_EQ(dates.localizedRelativeWithDateFormat(c.date, "%d.%m.%y", "%H:%M", bundle.get()), c.withTime);
        EXPECT_EQ(dates.localizedRelativeWithDateFormat(c.date, "%d.%m.%y", bundle.get()), c.alone);
    }
}

TEST(RelativeDates, TheTimeFormatWithoutSeconds)
{
    fakes::FakeRunLoop loop;
    fakes::FakeUserFormats formats;
    const RelativeDates dates(formats, loop);
    const std::pair<std::optional<std::string>, std::optional<std::string>> cases[] = {
        {"%H:%M:%S", "%H:%M"}, {"%I:%M:%S %p", "%I:%M %p"},  {"%H.%M.%S", "%H.%M.%S"},
        {":%S%H:%S", "%H:%S"}, {std::nullopt, std::nullopt},
    };
    for (const auto& [format, expected] : cases) {
        formats.time = format;
        EXPECT_EQ(dates.hourMinuteFormat(), expected);
        EXPECT_EQ(dates.localizedHourMinutes(loop.date()).has_value(), expected.has_value());
    }
}

TEST(RelativeDates, FormatsOfRealLocales)
{
    struct Case {
        const char* locale;
        const char* shortDate;
        const char* longDate;
        const char* hourMinutes;
        const char* named;
    } const cases[] = {
        {"en_US.UTF-8", "5/3/26", "May 3, 2026", "2:05\u202fPM", "Sunday Sun May PM"},
        {"de_DE.UTF-8@euro", "03.05.26", "3. Mai 2026", "14:05", "Sonntag So. Mai PM"},
        {"ja_JP.UTF-8", "2026/05/03", "2026年5月3日", "14:05", "日曜日 日 5月 午後"},
    };
    fakes::FakeRunLoop loop;
    const auto formats = platform::makeUserFormats();
    const RelativeDates dates(*formats, loop);
    const Date date = utc(2026, 5, 3, 14, 5);
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.locale);
        const fakes::TempEnvironment environment{{"TZ", "UTC0"}, {"LC_ALL", ""}, {"LC_TIME", c.locale}, {"LANG", "C"}};
        EXPECT_EQ(dates.localizedShortDate(date), c.shortDate);
        EXPECT_EQ(dates.localizedLongDate(date), c.longDate);
        EXPECT_EQ(dates.localizedHourMinutes(date), c.hourMinutes);
        loop.setDate(date + hours(100));
        EXPECT_EQ(dates.localizedRelativeWithDateFormat(date, "%A %a %B", "%p", nullptr), c.named);
        EXPECT_EQ(dates.localizedRelativeWithDateFormat(date, "%1H|%e|%j|%w|%z|100%%", "%S%q%", nullptr),
                  "14| 3|123|0|+0000|100% 00%q%");
    }
    EXPECT_EQ(before, std::setlocale(LC_ALL, nullptr));
}

} // namespace
