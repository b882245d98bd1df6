// Failed allocations. The library allocates its lists with new (std::nothrow)
// and raises a check when one comes back null; no real allocator fails on
// demand, so this program replaces the global nothrow operator new with a
// countdown that fails the Nth call from arming. A loop fails each allocation
// of Init in turn, under a refusing and an accepting check handler; a few
// cases pin what a caller sees of the failure of one named allocation.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/LogProbe.h"
#include "support/VerifyProbe.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>

namespace {

long g_Calls = 0;
long g_FailAt = 0; // 0: not armed
bool g_Fired = false;

void ArmAllocation(long nth) {
    g_Calls = 0;
    g_FailAt = nth;
    g_Fired = false;
}

void DisarmAllocation() {
    g_FailAt = 0;
}

} // namespace

// The test double: the nth nothrow allocation after arming gets null. The
// others, and their deletes, go to the throwing forms, so that every block is
// allocated and freed the same way (and a sanitizer sees matching pairs).
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    if (g_FailAt > 0 && ++g_Calls == g_FailAt) {
        g_Fired = true;
        g_FailAt = 0;
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void operator delete(void* block, std::nothrow_t const&) noexcept {
    ::operator delete(block);
}

// A role object whose list could not be allocated has none, and assigning it
// to another role object lets that one's list go without deleting it, as
// role objects are specified to do. The sort of a role list does such
// assignments, so after such a failure the lists of other roles leak. This
// program makes such failures on purpose: the leak sanitizer is told of it.
extern "C" char const* __lsan_default_suppressions() {
    return "leak:PM::RoleObject::RoleObject\nleak:PM::RoleObject::operator=\n";
}

namespace {

using namespace PMFault;

class AllocationFaultTest : public SavedCompanyTest {
protected:
    void SetUp() override {
        SavedCompanyTest::SetUp();
        rows = StoreRows();
        loaded = RenderManager();
    }
    void TearDown() override { DisarmAllocation(); }
    // Runs operation with its nth nothrow allocation failing; whether one did.
    static bool FailNth(long nth, std::function<void()> const& operation) {
        ArmAllocation(nth);
        operation();
        DisarmAllocation();
        return g_Fired;
    }
    // The call of operation, counted from 1, whose failed allocation raises
    // expression first; 0 when there is none.
    long FindAllocation(std::function<void()> const& setUp, std::function<void()> const& operation,
                        char const* expression) {
        for (long nth = 1; nth < 10000; ++nth) {
            setUp();
            PMTest::VerifyProbe probe(false);
            PMTest::LogProbe quiet;
            if (!FailNth(nth, operation)) {
                break;
            }
            if (!probe.Expressions().empty() && probe.Expressions().front() == expression) {
                return nth;
            }
        }
        ADD_FAILURE() << "no failed allocation raises " << expression;
        return 0;
    }

    // For nth = 1, 2, ...: setUp, the nth nothrow allocation of operation
    // fails, check, under both answers of the handler; until one runs clean.
    // Whatever failed, a later Init loads the store as it stands.
    long AllocationLoop(char const* name, std::function<void()> const& setUp,
                        std::function<int()> const& operation,
                        std::function<void(int, PMTest::VerifyProbe const&)> const& check) {
        long points = 0;
        for (bool accept : {false, true}) {
            for (long nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(name) + (accept ? ", accepted" : ", refused") +
                             ", allocation " + std::to_string(nth));
                setUp();
                PMTest::VerifyProbe probe(accept);
                PMTest::LogProbe quiet;
                int result = 0;
                bool const fired = FailNth(nth, [&] { result = operation(); });
                RenderManager(); // whatever the lists are left as, they can be read
                if (fired) {
                    ++points;
                    check(result, probe);
                }
                std::string const stored = StoreRows();
                NewManager();
                EXPECT_EQ(PM_OK, Manager().Init());
                EXPECT_EQ(stored, StoreRows());
                if (!fired || HasFailure()) {
                    break;
                }
            }
        }
        ReportFaultPoints(std::string("failed allocation in ") + name, points);
        return points;
    }

    std::string rows;
    std::string loaded;
};

// Every allocation of Init fails in turn. A failure that Init reports is
// raised; a raised failure that Init goes on from leaves what it could load;
// one failure goes unseen, as designed: without its working copy the
// name-sorted list stays empty, and every find by name misses until the next
// Init. Nothing crashes and nothing is written.
TEST_F(AllocationFaultTest, EachAllocationOfInitFailsInTurn) {
    long unseen = 0;
    long points = AllocationLoop(
        "Init", [this] { Fresh(false); }, [] { return Manager().Init(); },
        [&](int result, PMTest::VerifyProbe const& probe) {
            EXPECT_TRUE(result == PM_OK || result == PM_ERROR) << result;
            if (result == PM_ERROR) {
                EXPECT_FALSE(probe.Expressions().empty()) << "a failure that nobody was told of";
                EXPECT_FALSE(Manager().IsInitialized());
            } else if (probe.Expressions().empty()) {
                std::string const now = RenderManager();
                if (Only(now, "sorted ") == "") {
                    ++unseen;
                    EXPECT_EQ(Without(loaded, {"sorted "}), now);
                } else {
                    EXPECT_EQ(loaded, now) << "an allocation failed unseen";
                }
            }
            EXPECT_EQ(rows, StoreRows());
        });
    EXPECT_GT(points, 20);
    EXPECT_EQ(2, unseen) << "once for each answer of the handler";
}

// Every allocation of saving a new role fails in turn: the save reports the
// new id with the role stored, or a failure; the role list never holds a role
// that is not stored; a later Init loads whatever reached the store.
TEST_F(AllocationFaultTest, EachAllocationOfSavingANewRoleFailsInTurn) {
    auto save = [] {
        PM::RoleDef role;
        role.SetName("Auditor");
        std::vector<PM::EntitlementDef> grants = Grants({{9, 3}});
        return Manager().SetRoleEntitlements(role, grants);
    };
    long maskless = 0;
    long points = AllocationLoop(
        "SetRoleEntitlements", [this] { Fresh(); }, save,
        [&](int result, PMTest::VerifyProbe const& probe) {
            // A save that reports the new id has written the record and a
            // mask for every entitlement, but in one case: when the copy of
            // the catalogue that the masks are written from cannot be made,
            // nothing is raised and only the slave's mask is written.
            std::string const record = Only(StoreRows("roles"), "roles: 3|");
            std::string const masks = Only(StoreRows("role_actions"), "role_actions: 3|");
            if (result == 3 && Lines(masks).size() == 1) {
                ++maskless;
                EXPECT_EQ("role_actions: 3|15|3\n", masks);
                EXPECT_EQ(std::vector<std::string>(), probe.Expressions());
            } else if (result == 3) {
                EXPECT_EQ("roles: 3|-1|1|Auditor|\n", record);
                EXPECT_EQ(29u, Lines(masks).size());
            } else {
                EXPECT_LT(result, 0);
            }
            std::unique_ptr<PM::RoleDef> listed(Manager().GetRoleDef(3));
            EXPECT_TRUE(listed == nullptr || record != "") << "a role that is not stored";
        });
    EXPECT_GT(points, 40);
    EXPECT_EQ(2, maskless) << "once for each answer of the handler";
}

// One allocation, named by the check that its failure raises first, under
// each answer of the handler: the checks raised, the result, and what the
// manager answers afterwards; nothing is written. The lists of Init: refused,
// Init fails; accepted, Init succeeds without that list, and the operations
// answer as for an empty one. A role's view in the admin check: the check
// cannot be made, says so, and reports a shortfall under either answer.
TEST_F(AllocationFaultTest, ANamedAllocationThatFails) {
    auto init = [] { return Manager().Init(); };
    struct Case {
        char const* expression;
        bool initFirst;
        std::function<int()> run;
        int refused, accepted;
        std::vector<std::string> raised;
        std::function<void(std::string const& log)> check;
    } const cases[] = {
        {"rolelist != NULL",
         false,
         init,
         PM_ERROR,
         PM_OK,
         {"rolelist != NULL", "rolecache != NULL"},
         [](std::string const&) {
             EXPECT_EQ(nullptr, Manager().GetRoleCache());
             EXPECT_EQ(PM_ERROR, Manager().LookupRole("Admin"));
             EXPECT_EQ(PM_ERR_NORECORD, Manager().DeleteRole(2));
         }},
        {"entlist != NULL",
         false,
         init,
         PM_ERROR,
         PM_OK,
         {"entlist != NULL", "entcache != NULL"},
         [](std::string const&) {
             EXPECT_EQ(nullptr, Manager().GetEntitlementCache());
             EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefByName("Customers").GetId());
         }},
        {"pCache != NULL",
         false,
         init,
         PM_ERROR,
         PM_OK,
         {"pCache != NULL"},
         [](std::string const&) { EXPECT_EQ(nullptr, Manager().GetContextCache()); }},
        {"edlist != NULL",
         true,
         [] { return Manager().VerifyAdminRoleAccess(false) ? 1 : 0; },
         1,
         1,
         {"edlist != NULL", "entlist != NULL"},
         [](std::string const& log) {
             EXPECT_EQ("Permissions:  ERROR, cannot get the admin's permission records or the "
                       "database adapter\n",
                       log);
         }},
    };
    for (Case const& c : cases) {
        auto fresh = [&] { Fresh(c.initFirst); };
        long const nth = FindAllocation(
            fresh, [&] { c.run(); }, c.expression);
        for (bool accept : {false, true}) {
            SCOPED_TRACE(std::string(c.expression) + (accept ? ", accepted" : ", refused"));
            fresh();
            PMTest::VerifyProbe probe(accept);
            PMTest::LogProbe log;
            int result = 0;
            ASSERT_TRUE(FailNth(nth, [&] { result = c.run(); }));
            EXPECT_EQ(c.raised, probe.Expressions());
            EXPECT_EQ(accept ? c.accepted : c.refused, result);
            EXPECT_EQ(c.initFirst || result == PM_OK, Manager().IsInitialized());
            c.check(log.Texts());
            EXPECT_EQ(rows, StoreRows());
        }
    }
}

} // namespace
