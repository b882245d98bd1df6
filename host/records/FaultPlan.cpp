// The record layer's fault plan: call counts per operation and one armed fault.
#include "FaultPlan.h"

namespace Host {

namespace {

const char kAnyOperation[] = "*";

} // namespace

FaultPlan* FaultPlan::s_Installed = nullptr;

FaultPlan& FaultPlan::Get() {
    static FaultPlan plan;
    s_Installed = &plan;
    return plan;
}

void FaultPlan::Arm(std::string const& operation, long nth, Fault fault, bool persistent) {
    m_ArmedOperation = operation;
    m_ArmedAt = Calls(operation) + (nth < 1 ? 1 : nth);
    m_ArmedFault = fault;
    m_Persistent = persistent;
    m_Armed = true;
    m_Fired = false;
    m_FiredOperation.clear();
    m_FiredCall = 0;
}

void FaultPlan::Disarm() {
    m_Armed = false;
}

long FaultPlan::Calls(std::string const& operation) const {
    if (operation == kAnyOperation) {
        return m_TotalCalls;
    }
    auto found = m_Calls.find(operation);
    return found == m_Calls.end() ? 0 : found->second;
}

void FaultPlan::ResetCounts() {
    // An armed fault keeps its distance from the calls already made.
    if (m_Armed) {
        m_ArmedAt -= Calls(m_ArmedOperation);
    }
    m_Calls.clear();
    m_TotalCalls = 0;
}

bool FaultPlan::ShouldInject(char const* operation, Fault* fault) {
    long calls = ++m_Calls[operation];
    ++m_TotalCalls;
    if (!m_Armed) {
        return false;
    }
    if (m_ArmedOperation == kAnyOperation) {
        calls = m_TotalCalls;
    } else if (m_ArmedOperation != operation) {
        return false;
    }
    if (calls < m_ArmedAt || (calls > m_ArmedAt && !m_Persistent)) {
        return false;
    }
    if (!m_Fired) {
        m_FiredOperation = operation;
        m_FiredCall = m_Calls[operation];
    }
    m_Fired = true;
    m_Armed = m_Persistent;
    if (fault != nullptr) {
        *fault = m_ArmedFault;
    }
    return true;
}

} // namespace Host
