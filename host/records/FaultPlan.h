// A fault plan for tests on the record layer: make the Nth call of a chosen
// record operation fail, or answer not-found, and count the calls of every
// operation. Record operations consult it only once a test has installed it.
// Operations are named "Class::Operation", for example "DMUSRRoleAction::Load";
// "*" stands for every operation, counted together.
#pragma once

#include <map>
#include <string>

namespace Host {

class FaultPlan {
public:
    enum Fault {
        kFail,     // the operation returns a failed Util::Status and does nothing
        kNotFound, // the operation succeeds with Util::kRecordNotFound and does nothing
    };

    // The process's one plan. The first call installs it, and from then on
    // every record operation consults it and is counted; until then (in
    // production, which never calls this) a record operation only finds that
    // no plan is installed: one pointer test.
    static FaultPlan& Get();
    // The installed plan; null until Get() is first called.
    static FaultPlan* Installed() { return s_Installed; }

    // Arms a fault at the nth call (1 = the next call; less than 1 counts as 1)
    // of operation, counted from now; it replaces any fault armed before. Once
    // fired it disarms itself, unless persistent: then every later call of
    // operation gets the fault too, until Disarm.
    void Arm(std::string const& operation, long nth, Fault fault = kFail, bool persistent = false);
    // No fault is armed any more; the counts and Fired stay.
    void Disarm();
    // Whether the fault armed last has fired, also after it was disarmed.
    bool Fired() const { return m_Fired; }
    // The operation whose call the fault armed last fired at first
    // ("Class::Operation"), so that a test arming "*" knows what it hit, and
    // which call of that operation it was (1 = its first since ResetCounts);
    // empty and 0 until it fires.
    std::string const& FiredOperation() const { return m_FiredOperation; }
    long FiredCall() const { return m_FiredCall; }

    // Calls of operation since the last ResetCounts ("*": all operations).
    long Calls(std::string const& operation) const;
    // Counts from zero again; an armed fault still fires at the same call.
    void ResetCounts();

    // Called, once a plan is installed, by each record operation that reaches
    // the database, before it does: counts the call and answers whether a
    // fault is to be injected, and which. The field setters do not ask.
    bool ShouldInject(char const* operation, Fault* fault);

private:
    static FaultPlan* s_Installed;

    std::map<std::string, long> m_Calls;
    long m_TotalCalls = 0;
    std::string m_ArmedOperation;
    long m_ArmedAt = 0; // the call count of m_ArmedOperation at which to fire
    Fault m_ArmedFault = kFail;
    bool m_Armed = false;
    bool m_Persistent = false;
    bool m_Fired = false;
    std::string m_FiredOperation;
    long m_FiredCall = 0;
};

// Arms on construction and disarms on destruction.
class ScopedFault {
public:
    ScopedFault(std::string const& operation, long nth, FaultPlan::Fault fault = FaultPlan::kFail,
                bool persistent = false) {
        FaultPlan::Get().Arm(operation, nth, fault, persistent);
    }
    ~ScopedFault() { FaultPlan::Get().Disarm(); }
    ScopedFault(ScopedFault const&) = delete;
    ScopedFault& operator=(ScopedFault const&) = delete;
};

} // namespace Host
