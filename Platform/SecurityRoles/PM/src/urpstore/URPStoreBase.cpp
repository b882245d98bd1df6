// The store's base: its destructor, the one member every back end shares.
#include <PM/URPStoreBase.h>

namespace PM {

URPStoreBase::~URPStoreBase() = default;

} // namespace PM
