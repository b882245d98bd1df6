#include <Util/Status.h>

#include <gtest/gtest.h>

namespace {

TEST(StatusTest, ConstantsCopiesAndDefaults) {
    Util::Status assigned = Util::Status::GetFailed();
    assigned = Util::Status::RecordNotFound();
    struct Case {
        char const* name;
        Util::Status status;
        bool succeeded;
        long code;
    };
    Case const cases[] = {
        {"default", Util::Status(), false, -1},
        {"GetSucceeded", Util::Status::GetSucceeded(), true, 0},
        {"GetFailed", Util::Status::GetFailed(), false, -1},
        {"RecordNotFound", Util::Status::RecordNotFound(), true, Util::kRecordNotFound},
        {"assigned", assigned, true, 6042},
        {"explicit", Util::Status(false, 17), false, 17},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.status.Succeeded(), c.succeeded);
        EXPECT_EQ(c.status.Failed(), !c.succeeded);
        EXPECT_EQ(c.status.GetStatusCode(), c.code);
    }
    EXPECT_EQ(&Util::Status::GetFailed(), &Util::Status::GetFailed());
}

} // namespace
