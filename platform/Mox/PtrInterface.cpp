#include "Mox/PtrInterface.h"

namespace Mox {

PtrInterface::~PtrInterface() {
    if (censusClass_ != 0) [[unlikely]] {
        Census::leave(censusClass_);
    }
}

void PtrInterface::handleZeroReferences() const noexcept {
    // A cleanup may take and release references to the dying object. With one reference held here,
    // the count does not reach zero a second time.
    referenceInc();
    delete this;
}

} // namespace Mox
