// Init with each of its allocations failing in turn. The library allocates
// its lists with new (std::nothrow) and raises a check when one comes back
// null; no real allocator fails on demand, so this program replaces the
// global nothrow operator new with a countdown that fails the Nth call from
// arming.
#include "support/FaultLoop.h"
#include "support/LogProbe.h"
#include "support/VerifyProbe.h"

#include <iostream>
#include <new>

static long g_FailAt = 0; // the allocations to go until the one that fails; 0: not armed
static bool g_Fired = false;

// The nth nothrow allocation after arming gets null. The others, and their
// deletes, go to the throwing forms, so that every block is allocated and
// freed the same way (and a sanitizer sees matching pairs).
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    if (g_FailAt > 0 && --g_FailAt == 0) {
        g_Fired = true;
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
// to another lets that one's list go without deleting it; the sort of a role
// list does such assignments. This program makes such failures on purpose.
extern "C" char const* __lsan_default_suppressions() {
    return "leak:PM::RoleObject::RoleObject\nleak:PM::RoleObject::operator=\n";
}

namespace {

using namespace PMTest;
using LifecycleFaultTest = FaultLoopTest;

// A failure that Init reports is raised and leaves it uninitialised; one that
// it goes on from (the handler accepted) leaves what it could load, and the
// lists can be read. One failure goes unseen, as designed: without its
// working copy the name-sorted list stays empty, and every find by name
// misses until the next Init. Nothing crashes and nothing is written.
TEST_F(LifecycleFaultTest, EachAllocationOfInitFailsInTurn) {
    Start();
    Save();
    Fresh();
    std::string const rows = StoreRows(), loaded = Render();
    long points = 0, unseen = 0;
    for (bool accept : {false, true}) {
        g_Fired = true;
        for (long nth = 1; g_Fired && !HasFailure(); ++nth) {
            SCOPED_TRACE(std::string(accept ? "accepted" : "refused") + ", allocation " +
                         std::to_string(nth));
            Fresh(false);
            VerifyProbe probe(accept);
            LogProbe quiet;
            g_Fired = false;
            g_FailAt = nth;
            int const result = Manager().Init();
            g_FailAt = 0;
            points += g_Fired;
            std::string const now = Render();
            bool const raised = !probe.Expressions().empty();
            if (result != PM_OK) {
                EXPECT_EQ(PM_ERROR, result);
                EXPECT_TRUE(raised) << "a failure nobody was told of";
                EXPECT_FALSE(Manager().IsInitialized());
            } else if (!raised && Only(now, "sorted ").empty()) {
                ++unseen;
                EXPECT_EQ(Without(loaded, {"sorted "}), now);
            } else if (!raised) {
                EXPECT_EQ(loaded, now) << "an allocation failed unseen";
            }
            EXPECT_EQ(rows, StoreRows());
            EXPECT_EQ(PM_OK, AgainstFreshInit().freshResult);
        }
    }
    std::cout << "[ fault loop ] failed allocation in Init: " << points << " fault points\n";
    EXPECT_GT(points, 20);
    EXPECT_EQ(2, unseen) << "once for each answer of the handler";
}

} // namespace
