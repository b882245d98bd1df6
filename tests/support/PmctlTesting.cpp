// Scratch files and captured runs for the pmctl tests.
#include "support/PmctlTesting.h"

#include <host/records/CompanyFileJournal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace PMTest {

namespace {

// Made once per test program, copied by each test.
std::string const& Template() {
    static std::string const path = [] {
        std::string file =
            (fs::temp_directory_path() / ("pmctl-template-" + std::to_string(getpid()) + ".pmco"))
                .string();
        fs::remove(file);
        Pmctl::FileArgs args{file, "", false};
        Result created =
            Capture([&](Pmctl::Io io) { return Pmctl::CreateCommand(args, "admin", io); });
        EXPECT_EQ(0, created.code) << created.err;
        for (char const* user : {"carol", "dave"}) {
            EXPECT_EQ(0, Capture([&](Pmctl::Io io) {
                             return Pmctl::UsersAddCommand(args, user, false, io);
                         }).code);
        }
        for (auto const& [user, role] :
             {std::pair("carol", "Sales"), std::pair("dave", "Purchasing"),
              std::pair("dave", "Payroll Clerk")}) {
            EXPECT_EQ(0, Capture([&](Pmctl::Io io) {
                             return Pmctl::AssignCommand(args, user, role, io);
                         }).code);
        }
        return file;
    }();
    // Registered after path is built, so it runs before path is destroyed.
    static bool const removedAtExit = std::atexit([] { fs::remove(Template()); }) == 0;
    (void)removedAtExit;
    return path;
}

} // namespace

Result Capture(std::function<int(Pmctl::Io)> const& command) {
    std::ostringstream out;
    std::ostringstream err;
    int code = command(Pmctl::Io{out, err});
    return {code, out.str(), err.str()};
}

std::string ReadBytes(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Sql(std::string const& path, std::string const& sql) {
    sqlite3* db = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &db));
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr))
        << sqlite3_errmsg(db);
    std::string rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
        rows += (rows.empty() ? "" : ",") + std::string(text != nullptr ? text : "");
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

std::string ShippedCatalogue() {
    return PM_CATALOGUE_DIR "/catalogue.json";
}

void CommandTest::SetUp() {
    // These tests check contents, not durability: spare them a disk sync for
    // each of the thousands of commits that creating a company file makes.
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kWalNormal);
    m_Dir = (fs::temp_directory_path() /
             ("pmctl-test-" + std::to_string(getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name()))
                .string();
    fs::remove_all(m_Dir);
    fs::create_directories(m_Dir);
    m_File = Scratch("company.pmco");
    fs::copy_file(Template(), m_File);
}

Result CommandTest::Run(Command const& command, bool json) const {
    return Capture([&](Pmctl::Io io) { return command(File(json), io); });
}

nlohmann::json CommandTest::Json(Command const& command) const {
    Result result = Run(command, true);
    EXPECT_EQ(0, result.code) << result.err;
    return result.code == 0 ? nlohmann::json::parse(result.out) : nlohmann::json();
}

Result CommandTest::Pmctl(std::string const& line, std::string const& file,
                          Pmctl::Prompt const& prompt) const {
    std::vector<std::string> args = {"pmctl"};
    bool quoted = false;
    bool inWord = false;
    for (char c : line) {
        if (c == ' ' && !quoted) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            args.emplace_back();
            inWord = true;
        }
        if (c == '"') {
            quoted = !quoted;
        } else {
            args.back() += c;
        }
    }
    for (std::string& arg : args) {
        arg = arg == "F" ? file : arg;
    }
    return Capture([&](Pmctl::Io io) { return Pmctl::RunCommandLine(args, io, prompt); });
}

void CommandTest::RunSteps(std::vector<Step> const& steps,
                           std::function<std::string()> const& state) const {
    for (Step const& step : steps) {
        SCOPED_TRACE(step.line);
        Result result = Pmctl(step.line);
        EXPECT_EQ(step.code, result.code) << result.err;
        EXPECT_EQ(step.state, state());
    }
}

long CommandTest::RoleMask(char const* role, char const* entitlement) const {
    nlohmann::json const json =
        Json([&](auto& f, Pmctl::Io io) { return Pmctl::RolesShowCommand(f, role, io); });
    for (nlohmann::json const& row : json["entitlements"]) {
        if (row["name"] == entitlement) {
            return row["mask"];
        }
    }
    ADD_FAILURE() << "no row " << entitlement << " in the tree of " << role;
    return -1;
}

void CommandTest::TearDown() {
    fs::remove_all(m_Dir);
}

} // namespace PMTest
