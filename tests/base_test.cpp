#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <future>
#include <sstream>

#include "base/CalcHashValue.h"
#include "base/PlatformAPI.h"
#include "base/Status.h"

TEST(CalcHashValueTest, KnownAnswersAndTheLoopItStandsFor) {
    EXPECT_EQ(CalcHashValue("a", 0x80000001, 1987), 1703U);
    EXPECT_EQ(CalcHashValue("\xFF", 0xFFFFFFFF, 1987), 1867U);
    EXPECT_EQ(CalcHashValue(nullptr, 5, 1987), 0U);
    uint32_t h = 0;
    for (uint32_t length = 0; length <= 70000; h = h * 137 + 200, ++length) {
        ASSERT_EQ(CalcHashValue("\xC8", length, 1987), h % 1987) << length;
    }
}

TEST(StatusTest, EveryStatusHasItsResult) {
    std::istringstream rows(
        "-1 -1 -1 0 0 0 1 -4 -4 2 -5 -1 3 -10 -1 4 -12 -1 5 3 -1 6 -12 -1 7 -12 -1 8 -1 -1 "
        "256 -1 -1 257 -1 -7 258 -1 -8 259 -1 -8 260 -1 -11 261 -1 -1");
    for (int32_t status, store, file; rows >> status >> store >> file;) {
        EXPECT_TRUE(DB_ERROR(status) == store && IO_ERROR(status) == file) << status;
    }
}

TEST(CriticalRegionTest, IsLeftOnlyFromInsideAndDeletedWhenNobodyElseIsIn) {
    for (const bool from_inside : {true, false}) {
        OpaqueMPCriticalRegionID* region = nullptr;
        ASSERT_EQ(InitializeCriticalSectionAPI(&region), 0);
        EXPECT_NE(LeaveCriticalSectionAPI(&region), 0);
        EnterCriticalSectionAPI(&region);
        EnterCriticalSectionAPI(&region);
        EXPECT_EQ(LeaveCriticalSectionAPI(&region), 0);
        const auto other = std::async(std::launch::async, [&] {
            EXPECT_NE(LeaveCriticalSectionAPI(&region), 0);
            EnterCriticalSectionAPI(from_inside ? &region : nullptr);
            DeleteCriticalSectionAPI(&region);
        });
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        EXPECT_EQ(LeaveCriticalSectionAPI(&region), 0);
    }
}

TEST(CriticalRegionTest, WhereThereIsNoneNothingIsDone) {
    OpaqueMPCriticalRegionID* none = nullptr;
    for (OpaqueMPCriticalRegionID** id : {&none, decltype(&none)()}) {
        EnterCriticalSectionAPI(id);
        EXPECT_EQ(LeaveCriticalSectionAPI(id), 0);
        DeleteCriticalSectionAPI(id);
    }
}

// Were the argument taken, the test runner would give up waiting.
TEST(TimeTest, ASleepEndsWhateverIsAskedForAndTheClockGoesOn) {
    const auto clock = static_cast<double>(std::time(nullptr));
    const double before = GetTime();
    EXPECT_TRUE(before > clock - 2 && before < clock + 60) << before - clock;
    SleepFunction(3600);
    EXPECT_GT(GetTime(), before);
}

TEST(TempFilePathTest, IsTheDesktopOfTheHomeFolderWhereItFits) {
    const std::string home(91, 'h');  // with the rest, just 99 bytes
    for (const std::string& text : {std::string(), std::string("/home/x"), home, home + "h"}) {
        char path[101] = "as it was";
        setenv("HOME", text.c_str(), 1);
        GetTempFilePath(path);
        EXPECT_EQ(path, text.size() > 91 ? "as it was" : text + "/Desktop/");
    }
    char path[101] = "as it was";
    unsetenv("HOME");
    GetTempFilePath(path);
    EXPECT_STREQ(path, "as it was");
}

TEST(FileTest, OnlyARegularFileExists) {
    const std::string folder = testing::TempDir(), file = folder + "base_test.file";
    std::ofstream(file) << "";
    EXPECT_TRUE(IsFileExistAPI(file.c_str()) == 1 && IsFileExistAPI(folder.c_str()) == 0);
    EXPECT_TRUE(DeleteFileAPI(file.c_str()) == 0 && IsFileExistAPI(file.c_str()) == 0);
    EXPECT_TRUE(DeleteFileAPI(file.c_str()) != 0 && IsFileExistAPI(nullptr) == 0);
}
