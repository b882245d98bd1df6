// Test seam: answers Util::Ops::Verify as the test says and records every
// raised expression in order. Installed for its lifetime; the previous handler
// comes back on destruction.
#pragma once

#include <host/util/OpsHooks.h>

#include <string>
#include <vector>

namespace PMTest {

class VerifyProbe {
public:
    explicit VerifyProbe(bool accept = false);
    ~VerifyProbe();
    VerifyProbe(VerifyProbe const&) = delete;
    VerifyProbe& operator=(VerifyProbe const&) = delete;

    void SetAccept(bool accept) { m_Accept = accept; }
    std::vector<std::string> const& Expressions() const { return m_Expressions; }
    std::vector<Host::VerifyReport> const& Reports() const { return m_Reports; }
    void Clear();

private:
    bool m_Accept;
    std::vector<std::string> m_Expressions;
    std::vector<Host::VerifyReport> m_Reports;
    Host::VerifyHandler m_Previous;
};

} // namespace PMTest
