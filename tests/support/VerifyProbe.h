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
    explicit VerifyProbe(bool accept = false)
        : m_Previous(Host::SetVerifyHandler([this, accept](Host::VerifyReport const& report) {
              m_Expressions.push_back(report.expression);
              return accept;
          })) {}
    ~VerifyProbe() { Host::SetVerifyHandler(m_Previous); }
    VerifyProbe(VerifyProbe const&) = delete;
    VerifyProbe& operator=(VerifyProbe const&) = delete;

    std::vector<std::string> const& Expressions() const { return m_Expressions; }
    void Clear() { m_Expressions.clear(); }

private:
    std::vector<std::string> m_Expressions;
    Host::VerifyHandler m_Previous;
};

} // namespace PMTest
