// Scratch files and command lines for the pmctl tests.
#include "support/PmctlTesting.h"

#include "support/ServerDatabases.h"

#include <host/records/CompanyFileJournal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace PMTest {

namespace {

// The company every test starts from, made at location.
void MakeTemplate(std::string const& location) {
    RunAll({"create F", "users add F carol", "users add F dave", "assign F carol Sales",
            "assign F dave Purchasing", "assign F dave \"Payroll Clerk\""},
           location);
}

// The databases on the server: the template, made once per test program
// and left for the next run to replace, and each case's copy of it.
char const kTemplateDatabase[] = "pm_pmctl_template";
char const kCaseDatabase[] = "pm_pmctl_case";

void MakeServerTemplate() {
    static bool const made = [] {
        MakeTemplate(MakeDatabase(kTemplateDatabase));
        return true;
    }();
    (void)made;
}

// The name of the database a URI names.
std::string DatabaseOf(std::string const& uri) {
    std::size_t const path = uri.find('/', uri.find("://") + 3);
    return uri.substr(path + 1, uri.find('?', path) - path - 1);
}

// Made once per test program, copied by each test.
std::string const& Template() {
    static std::string const path = [] {
        std::string file =
            (fs::temp_directory_path() / ("pmctl-template-" + std::to_string(getpid()) + ".pmco"))
                .string();
        fs::remove(file);
        MakeTemplate(file);
        return file;
    }();
    // Registered after path is built, so it runs before path is destroyed.
    static bool const removedAtExit = std::atexit([] { fs::remove(Template()); }) == 0;
    (void)removedAtExit;
    return path;
}

} // namespace

std::vector<std::string> Words(std::string const& line) {
    std::vector<std::string> args;
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
    return args;
}

Result RunPmctl(std::string const& line, std::string const& file, Pmctl::Prompt const& prompt) {
    std::vector<std::string> args = Words("pmctl " + line);
    for (std::string& arg : args) {
        arg = arg == "F" ? file : arg;
    }
    std::ostringstream out;
    std::ostringstream err;
    int code = Pmctl::RunCommandLine(args, Pmctl::Io{out, err}, prompt);
    return {code, out.str(), err.str()};
}

void RunAll(std::vector<std::string> const& lines, std::string const& file) {
    for (std::string const& line : lines) {
        Result result = RunPmctl(line, file);
        EXPECT_EQ(0, result.code) << line << ": " << result.err;
    }
}

std::string Out(std::string const& line, std::string const& file) {
    Result result = RunPmctl(line, file);
    EXPECT_EQ(0, result.code) << line << ": " << result.err;
    return result.out;
}

std::string ShippedCatalogue() {
    return PM_CATALOGUE_DIR "/catalogue.json";
}

void CommandTest::SetUp() {
    // These tests check contents, not durability: spare them a disk sync for
    // each commit.
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kWalNormal);
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(name.begin(), name.end(), '/', '-');
    m_Dir = (fs::temp_directory_path() / ("pmctl-test-" + std::to_string(getpid()) + "-" + name))
                .string();
    fs::remove_all(m_Dir);
    fs::create_directories(m_Dir);
    if (!OnServer()) {
        m_File = Scratch("company.pmco");
        fs::copy_file(Template(), m_File);
        return;
    }
    CountServerCase(!ServerUri().empty());
    if (ServerUri().empty()) {
        GTEST_SKIP() << "PM_TEST_POSTGRES_URI is not set: no PostgreSQL server to run on "
                        "(scripts/with-postgres.sh runs a command beside one)";
    }
    MakeServerTemplate();
    m_Databases.push_back(kCaseDatabase);
    m_File = MakeDatabase(kCaseDatabase, kTemplateDatabase);
}

void CommandTest::TearDown() {
    for (std::string const& database : m_Databases) {
        DropDatabase(database);
    }
    fs::remove_all(m_Dir);
}

EngineKind CommandTest::Engine() const {
    return ::testing::UnitTest::GetInstance()->current_test_info()->value_param() != nullptr
               ? GetParam()
               : EngineKind::kSqlite;
}

std::string CommandTest::NewCompany(std::string const& name) {
    if (!OnServer()) {
        return Scratch(name + ".pmco");
    }
    std::string database = "pm_pmctl_" + name;
    m_Databases.push_back(database);
    return MakeDatabase(database);
}

std::string CommandTest::CopyOfCompany(std::string const& location, std::string const& name) {
    if (!OnServer()) {
        fs::copy_file(location, Scratch(name + ".pmco"), fs::copy_options::overwrite_existing);
        return Scratch(name + ".pmco");
    }
    std::string database = "pm_pmctl_" + name;
    m_Databases.push_back(database);
    return MakeDatabase(database, DatabaseOf(location));
}

std::string CommandTest::Contents(std::string const& location) const {
    return OnServer() ? DatabaseTables(location) : ReadBytes(location);
}

std::string CommandTest::Catalogue(int version, std::size_t features) const {
    nlohmann::json catalogue = nlohmann::json::parse(ReadBytes(ShippedCatalogue()));
    for (nlohmann::json& feature : catalogue["features"]) {
        if (feature["id"] == "0") {
            feature["parameters"][2] = std::to_string(version);
        }
    }
    if (features > 0) {
        catalogue["features"].erase(catalogue["features"].begin() + features,
                                    catalogue["features"].end());
    }
    std::string path = Scratch("catalogue-" + std::to_string(version) + ".json");
    std::ofstream(path) << catalogue.dump();
    return path;
}

nlohmann::json CommandTest::Json(std::string const& line, std::string const& file) const {
    Result result = Pmctl(line + " --json", file);
    EXPECT_EQ(0, result.code) << line << ": " << result.err;
    return result.code == 0 ? nlohmann::json::parse(result.out) : nlohmann::json();
}

long CommandTest::RoleMask(std::string const& role, std::string const& entitlement) const {
    nlohmann::json const tree = Json("roles show F \"" + role + "\"");
    for (nlohmann::json const& row : tree["entitlements"]) {
        if (row["name"] == entitlement) {
            return row["mask"];
        }
    }
    ADD_FAILURE() << "no row " << entitlement << " in the tree of " << role;
    return -1;
}

void CommandTest::RunSteps(std::vector<Step> const& steps,
                           std::function<std::string()> const& state) const {
    std::string expected;
    for (Step const& step : steps) {
        SCOPED_TRACE(step.line);
        Result result = Pmctl(step.line);
        EXPECT_EQ(step.code, result.code) << result.err;
        expected = step.state != nullptr ? step.state : expected;
        EXPECT_EQ(expected, state());
    }
}

void CommandTest::Expect(std::vector<Row> const& rows) const {
    for (Row const& row : rows) {
        SCOPED_TRACE(row.line);
        Result result = Pmctl(row.line);
        EXPECT_EQ(row.code, result.code);
        EXPECT_EQ(row.out, result.out);
        EXPECT_EQ(row.err.empty() ? "" : "pmctl: " + m_File + ": " + row.err + "\n", result.err);
    }
}

} // namespace PMTest
