// What a desktop that keeps a company open sees of another desktop's
// changes: the same on a file and on a server. The user's roles are read at
// each login (EstablishUser), bracketed or not; a role's masks once read are
// kept until the next Init, and so are the entitlements.
#include "support/EngineTesting.h"
#include "support/PmctlChild.h"

#include <host/company/Company.h>
#include <host/records/Transactions.h>

namespace {

using namespace PMTest;

int const kCarol = 102;
// The entitlements asked about: Invoices, Bills, and the first bank account.
struct Question {
    char const* name;
    int id;
} const kQuestions[] = {{"Invoices", 6}, {"Bills", 28}, {"Checking", 300000}};
long const kView = 1;

class OtherDesktopsTest : public EngineTest {
protected:
    // What the established user may view, "Invoices=yes Bills=no ...".
    std::string Sees() {
        std::string seen;
        for (Question const& question : kQuestions) {
            seen += std::string(seen.empty() ? "" : " ") + question.name + "=" +
                    (m_Desktop->Manager().IsAccessAllowed(question.id, kView) ? "yes" : "no");
        }
        return seen;
    }
    // A login of carol, unbracketed and then in a read bracket: what each
    // saw, once when both saw the same.
    std::string Login() {
        EXPECT_EQ(0, m_Desktop->Manager().EstablishUser(kCarol));
        std::string const plain = Sees();
        Host::ReadTransaction reads;
        EXPECT_EQ(0, m_Desktop->Manager().EstablishUser(kCarol));
        std::string const bracketed = Sees();
        return plain == bracketed ? plain : plain + " but bracketed " + bracketed;
    }

    std::unique_ptr<Host::Company> m_Desktop;
};

TEST_P(OtherDesktopsTest, AnotherDesktopsChangesShowAtTheNextLoginOrInit) {
    ScratchDir dir;
    std::string const location = Location();
    for (std::vector<std::string> setUp : {std::vector<std::string>{"create", location},
                                           {"users", "add", location, "carol"},
                                           {"assign", location, "carol", "Sales"}}) {
        PmctlSetUp(setUp, dir / "setup");
    }
    Host::CompanyOptions options;
    options.catalogue = PM_CATALOGUE_DIR "/catalogue.json";
    options.access = Host::CompanyAccess::kLive;
    Host::CompanyProblem problem;
    m_Desktop = Host::Company::Open(location, options, &problem);
    ASSERT_NE(nullptr, m_Desktop) << problem.message;
    EXPECT_EQ("Invoices=yes Bills=no Checking=no", Login());

    // What the other desktop changes, then what this one does: "" nothing,
    // "login" or "init" and a login; and what it then sees.
    struct Step {
        std::vector<std::string> change;
        char const* then;
        char const* sees;
    } const steps[] = {
        {{"assign", location, "carol", "Purchasing"}, "", "Invoices=yes Bills=no Checking=no"},
        {{}, "login", "Invoices=yes Bills=yes Checking=no"},
        // Sales's masks were read at the last login and are kept.
        {{"roles", "edit", location, "Sales", "--grant", "Invoices=none"},
         "login",
         "Invoices=yes Bills=yes Checking=no"},
        {{}, "init", "Invoices=no Bills=yes Checking=no"},
        {{"unassign", location, "carol", "Purchasing"},
         "login",
         "Invoices=no Bills=no Checking=no"},
        // Bookkeeper's masks are read first at the login after the edit.
        {{"roles", "edit", location, "Bookkeeper", "--grant", "Bills=none"},
         "",
         "Invoices=no Bills=no Checking=no"},
        {{"assign", location, "carol", "Bookkeeper"}, "login", "Invoices=yes Bills=no Checking=no"},
        // A new account is an entitlement this desktop learns of at Init.
        {{"bank", "add", location, "Checking"}, "login", "Invoices=yes Bills=no Checking=no"},
        {{}, "init", "Invoices=yes Bills=no Checking=yes"},
    };
    for (Step const& step : steps) {
        SCOPED_TRACE(step.change.empty() ? std::string(step.then) : Describe(step.change));
        if (!step.change.empty()) {
            PmctlSetUp(step.change, dir / "change");
        }
        if (std::string(step.then) == "init") {
            EXPECT_EQ(0, m_Desktop->Manager().Init());
        }
        EXPECT_EQ(step.sees, std::string(step.then).empty() ? Sees() : Login());
    }
    m_Desktop.reset();
}

INSTANTIATE_ON_BOTH_ENGINES(OtherDesktopsTest);

} // namespace
