// The dense yardstick of the access decision.
#include "DenseDecision.h"

#include <utility>

namespace Bench {

DenseDecision::DenseDecision(std::vector<long> masks) : m_Masks(std::move(masks)) {}

bool DenseDecision::IsAllowed(int entitlementId, long actionMask) const {
    if (entitlementId < 0 || static_cast<std::size_t>(entitlementId) >= m_Masks.size()) {
        return false;
    }
    long const row = m_Masks[static_cast<std::size_t>(entitlementId)];
    return (row & (actionMask == 0 ? 63 : actionMask)) != 0;
}

} // namespace Bench
