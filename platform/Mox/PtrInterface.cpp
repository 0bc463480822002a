#include "Mox/PtrInterface.h"

namespace Mox {

bool PtrInterface::threadSafe_ = false;

PtrInterface::~PtrInterface() {
    if (censusClass_ != 0) [[unlikely]] {
        Census::leave(censusClass_);
    }
}

void PtrInterface::handleZeroReferences() const noexcept {
    // A clean-up may take and release references to the dying object. Held at one, the count
    // does not pass through zero a second time.
    referenceInc();
    delete this;
}

} // namespace Mox
