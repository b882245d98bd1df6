// Scratch files and command lines for the pmctl tests.
#include "support/PmctlTesting.h"

#include <host/records/CompanyFileJournal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <sstream>
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
        for (char const* line :
             {"create F", "users add F carol", "users add F dave", "assign F carol Sales",
              "assign F dave Purchasing", "assign F dave \"Payroll Clerk\""}) {
            Result result = RunPmctl(line, file);
            EXPECT_EQ(0, result.code) << line << ": " << result.err;
        }
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

std::string ShippedCatalogue() {
    return PM_CATALOGUE_DIR "/catalogue.json";
}

void CommandTest::SetUp() {
    // These tests check contents, not durability: spare them a disk sync for
    // each commit.
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

void CommandTest::TearDown() {
    fs::remove_all(m_Dir);
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

nlohmann::json CommandTest::Json(std::string const& line) const {
    Result result = Pmctl(line + " --json");
    EXPECT_EQ(0, result.code) << result.err;
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
    for (Step const& step : steps) {
        SCOPED_TRACE(step.line);
        Result result = Pmctl(step.line);
        EXPECT_EQ(step.code, result.code) << result.err;
        EXPECT_EQ(step.state, state());
    }
}

} // namespace PMTest
