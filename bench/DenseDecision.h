// The benchmarks' yardstick for the access decision: the same question
// answered from a dense array of masks indexed by entitlement id, behind the
// same kind of call as PermissionManager::IsAccessAllowed (a member function
// exported from a shared library of its own), so that the two differ only in
// how the row is found.
#pragma once

#include <vector>

namespace Bench {

class __attribute__((visibility("default"))) DenseDecision {
public:
    // masks[id] is the mask of id; ids past the end have no row.
    explicit DenseDecision(std::vector<long> masks);
    // IsAccessAllowed's checks in its order, for an established user: a
    // negative id or one without a row is refused; actionMask 0 asks for any
    // of the six standard actions, another mask for any of its bits.
    bool IsAllowed(int entitlementId, long actionMask) const;

private:
    std::vector<long> m_Masks;
};

} // namespace Bench
