// A failure the server reports reaches the administrator with its SQLSTATE,
// whichever exception class the client library gives it, and those that mean
// "another desktop is in the way" in the words that say to try again.
#include <support/EngineTesting.h>
#include <support/RecordTesting.h>

#include <host/records/CompanyFile.h>
#include <host/records/Engine.h>

#include <gtest/gtest.h>
#include <pqxx/pqxx>

#include <chrono>
#include <string>
#include <thread>

namespace {

class ServerFailuresTest : public PMTest::EngineTest {};

TEST_P(ServerFailuresTest, EachKeepsItsSqlStateAndTheWordsForIt) {
    ASSERT_TRUE(Host::CreateCompanyFile(Location()).ok);
    std::string const busy = "another program is writing this company database; try again ";
    struct Case {
        char const* raised;
        std::string words;
    } const cases[] = {
        // Classes of their own in the client library, outside its sql_error.
        {"40001", busy + "(SQLSTATE 40001: raised)"},
        {"40P01", busy + "(SQLSTATE 40P01: raised)"},
        {"40000", "the server reported SQLSTATE 40000: raised"},
        // Classes of their own that carry no code.
        {"42501", "the server reported SQLSTATE 42501: raised"},
        {"23505", "the server reported SQLSTATE 23505: raised"},
        {"23000", "the server reported SQLSTATE 23000: raised"},
        {"53100", "the server reported SQLSTATE 53100: raised"},
        // A class that carries the code, and none: the code as the server sent it.
        {"22012", "the server reported SQLSTATE 22012: raised"},
        {"55P03", busy + "(SQLSTATE 55P03: raised)"},
        {"57014", "the server reported SQLSTATE 57014: raised"},
    };
    for (Case const& c : cases) {
        Host::detail::TextRows rows;
        std::string error;
        std::string const sql =
            std::string("DO 'BEGIN RAISE EXCEPTION ''raised'' USING ERRCODE = ''") + c.raised +
            "''; END'";
        EXPECT_FALSE(Host::detail::CurrentEngine()->Execute(sql, &rows, &error)) << c.raised;
        EXPECT_EQ(error, c.words) << c.raised;
    }
}

// An open whose check of the database another program's lock holds up past
// the busy timeout, or whose connection is cut off meanwhile, refuses nothing
// about the database: the same command may work later.
TEST_P(ServerFailuresTest, AnOpenHeldUpOrCutOffWhileCheckingIsToBeTriedAgain) {
    ASSERT_TRUE(Host::CreateCompanyFile(Location()).ok);
    PMTest::Query("SELECT 1"); // the first statement makes the tables
    Host::CloseCompanyFile();
    struct Timeout {
        Timeout() { Host::SetCompanyFileBusyTimeout(100); }
        ~Timeout() { Host::SetCompanyFileBusyTimeout(5000); }
    } timeout;
    pqxx::connection other(Location());
    pqxx::work holder(other);
    holder.exec("LOCK TABLE company_metadata IN ACCESS EXCLUSIVE MODE");

    Host::CompanyFileResult const held = Host::OpenCompanyFile(Location());
    EXPECT_FALSE(held.ok);
    EXPECT_TRUE(held.unreachable);
    EXPECT_EQ(held.reason, "it cannot be checked: another program is writing this company "
                           "database; try again (SQLSTATE 55P03: canceling statement due to "
                           "lock timeout)");

    Host::SetCompanyFileBusyTimeout(60000);
    Host::CompanyFileResult cut;
    std::thread opener([&] { cut = Host::OpenCompanyFile(Location()); });
    pqxx::connection watcher(Location());
    bool ended = false;
    for (int tries = 0; tries < 1000 && !ended; ++tries) {
        pqxx::nontransaction look(watcher);
        ended = !look.exec("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
                           "wait_event_type = 'Lock' AND pid <> pg_backend_pid()")
                     .empty();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    opener.join();
    EXPECT_TRUE(ended);
    EXPECT_FALSE(cut.ok);
    EXPECT_TRUE(cut.unreachable);
    std::string const lost =
        "it cannot be checked: the connection to the server failed (SQLSTATE 08006: ";
    EXPECT_EQ(cut.reason.substr(0, lost.size()), lost) << cut.reason;
    holder.abort();
}

INSTANTIATE_TEST_SUITE_P(Server, ServerFailuresTest, ::testing::Values(PMTest::EngineKind::kServer),
                         PMTest::EngineName);

} // namespace
