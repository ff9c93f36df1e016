#include "kiv/PtrInterface.h"

#include "kiv/Assert.h"

namespace Kiv {

constinit std::atomic< bool > enableThreadSafePointers{ false };

PtrInterface::~PtrInterface() = default;

void PtrInterface::zeroReferencesIs() {}

void PtrInterface::handleZeroRef() {
  refWord_.flagsIs( RefWord::flagDying );
  zeroReferencesIs();
  // A reference kept past this point would outlive the object.
  KIV_ASSERT( references() == 0 );
  delete this;
}

}  // namespace Kiv
