// How company files keep their journal, and so what a crash or a power cut
// can take back. The default is the host's choice for business data; the
// other settings exist so that their cost can be measured against it.
#pragma once

namespace Host {

enum class CompanyFileJournal {
    kWalFull,      // write-ahead log, synced at every commit (default)
    kWalNormal,    // write-ahead log, synced only at checkpoints
    kRollbackFull, // rollback journal, synced at every commit
};

// Applies to company files created or opened from now on.
void SetCompanyFileJournal(CompanyFileJournal journal);
CompanyFileJournal GetCompanyFileJournal();

} // namespace Host
