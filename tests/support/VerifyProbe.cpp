// The verify probe: records and answers failed checks for a test.
#include "VerifyProbe.h"

namespace PMTest {

VerifyProbe::VerifyProbe(bool accept) : m_Accept(accept) {
    m_Previous = Host::SetVerifyHandler([this](Host::VerifyReport const& report) {
        m_Expressions.push_back(report.expression);
        m_Reports.push_back(report);
        return m_Accept;
    });
}

VerifyProbe::~VerifyProbe() {
    Host::SetVerifyHandler(m_Previous);
}

void VerifyProbe::Clear() {
    m_Expressions.clear();
    m_Reports.clear();
}

} // namespace PMTest
