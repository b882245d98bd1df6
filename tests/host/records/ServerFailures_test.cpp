// A failure the server reports reaches the administrator with its SQLSTATE,
// whichever exception class the client library gives it, and those that mean
// "another desktop is in the way" in the words that say to try again.
#include <support/EngineTesting.h>

#include <host/records/CompanyFile.h>
#include <host/records/Engine.h>

#include <gtest/gtest.h>

#include <string>

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

INSTANTIATE_TEST_SUITE_P(Server, ServerFailuresTest, ::testing::Values(PMTest::EngineKind::kServer),
                         PMTest::EngineName);

} // namespace
