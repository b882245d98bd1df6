#include "CompanyFileTesting.h"
#include "RecordOperations.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using RecordsTest::Dump;
using RecordsTest::Exists;
using RecordsTest::kSampleDump;
using RecordsTest::TempPath;

class CompanyFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        Host::FaultPlan::Get().Disarm();
        Host::CloseCompanyFile();
    }
    void TearDown() override { Host::CloseCompanyFile(); }
};

TEST_F(CompanyFileTest, RecordsSurviveCloseAndReopen) {
    TempPath path("reopen");
    Host::CompanyFileResult created = Host::CreateCompanyFile(path);
    ASSERT_TRUE(created.ok) << created.message;
    EXPECT_EQ(created.message, "");
    EXPECT_EQ(Host::CurrentCompanyFilePath(), path.str());
    RecordsTest::AddSample();
    Host::CloseCompanyFile();
    EXPECT_FALSE(Host::IsCompanyFileOpen());
    EXPECT_EQ(Host::CurrentCompanyFilePath(), "");
    EXPECT_EQ(Host::CurrentCompanyFileHandle(), nullptr);
    // Closing folds the write-ahead log into the file.
    EXPECT_FALSE(Exists(path.str() + "-wal"));

    Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
    ASSERT_TRUE(opened.ok) << opened.message;
    EXPECT_EQ(Dump(), kSampleDump);
    DMUSRRole role;
    ASSERT_EQ(role.Load(1, nullptr).GetStatusCode(), 0);
    char name[kRecordTextBufferSize];
    ASSERT_EQ(role.GetName(name), 0);
    EXPECT_EQ(std::string(name) + " " + std::to_string(role.GetIsVisible()), "Clerk's desk 2");
    DMUSRRoleAction mask;
    ASSERT_EQ(mask.Load(1, 100012, nullptr).GetStatusCode(), 0);
    EXPECT_EQ(mask.GetActionType(), 17);
}

TEST_F(CompanyFileTest, OneCompanyFileAtATime) {
    TempPath first("first");
    TempPath second("second");
    ASSERT_TRUE(Host::CreateCompanyFile(first).ok);
    Host::CompanyFileResult refused = Host::CreateCompanyFile(second);
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.message, "Cannot create company file '" + second.str() +
                                   "': the company file '" + first.str() + "' is open.");
    EXPECT_FALSE(Exists(second));
    EXPECT_EQ(Host::OpenInMemoryCompanyFile().message,
              "Cannot open company file ':memory:': the company file '" + first.str() +
                  "' is open.");
    EXPECT_EQ(Host::CurrentCompanyFilePath(), first.str());

    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    EXPECT_EQ(Host::CurrentCompanyFilePath(), ":memory:");
    EXPECT_EQ(Dump(), "");
}

} // namespace
