// A host embedding the permission manager, as the README shows it, built and
// run against an install: it creates a company file, opens it as a desktop
// does, makes one whole change, logs a user in and asks.
#include <PM/PermissionManager.h>
#include <host/company/Company.h>
#include <host/records/Transactions.h>
#include <host/users/CompanyUsers.h>

#include <cstdio>
#include <memory>
#include <string>

int main(int argc, char** argv) {
    std::string const path = argc > 1 ? argv[1] : "books.pmco";
    Host::CompanyOptions options;
    options.catalogue = CATALOGUE; // the installed catalogue.json
    Host::CompanyProblem problem;
    std::string error;

    // A new company file: the factory defaults, and alice, who holds Admin.
    std::unique_ptr<Host::Company> created =
        Host::Company::Create(path, options, "alice", &problem);
    if (created == nullptr || !created->Commit(&error)) {
        std::fprintf(stderr, "%s%s\n", problem.message.c_str(), error.c_str());
        return 1;
    }
    created.reset();

    // Opened as a desktop keeps it: the catalogue, the file, the company's
    // users, PM_InitComponent and Init, all done by Host::Company.
    options.access = Host::CompanyAccess::kLive;
    std::unique_ptr<Host::Company> company = Host::Company::Open(path, options, &problem);
    if (company == nullptr) {
        std::fprintf(stderr, "%s\n", problem.message.c_str());
        return 1;
    }
    PM::PermissionManager& pm = company->Manager();
    int const invoices = pm.FindEntitlementDefByName("Invoices").GetId();
    bool const beforeLogin = pm.IsAccessAllowed(invoices, 4 /* modify */); // no user: yes

    int const carol = Host::AddCompanyUser("carol", false, &error);
    {
        Host::WriteTransaction change; // one whole change: all of it or none
        pm.SetRoleForUser(carol, pm.LookupRole("View Only"));
        if (change.Commit() != 0) {
            std::fprintf(stderr, "the change was not written\n");
            return 1;
        }
    }
    {
        Host::ReadTransaction reads; // one read lock for the whole login
        pm.EstablishUser(carol);
    }
    bool const view = pm.IsAccessAllowed(invoices, 1 /* view */);
    bool const modify = pm.IsAccessAllowed(invoices, 4 /* modify */);
    std::printf("before login: %s; carol may view invoices: %s, modify them: %s\n",
                beforeLogin ? "yes" : "no", view ? "yes" : "no", modify ? "yes" : "no");
    return beforeLogin && view && !modify ? 0 : 1;
} // the Company terminates the manager, closes the file and unloads the catalogue
