// The entry managers' published functions, for generic tools to call by name.

#include "kiv/Operation.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

using Kiv::operation;

const Kiv::OperationTable & MorvaneTcamEntryManager::operationTable() const {
  using Manager = MorvaneTcamEntryManager;
  static constexpr Kiv::Operation own[] = {
      operation< &Manager::getRangeChecker >( "getRangeChecker" ),
      operation< &Manager::releaseRangeChecker >( "releaseRangeChecker" ),
      operation< &Manager::rangeCheckersExhausted >( "rangeCheckersExhausted" ),
      operation< &Manager::setMirroringAclUdf >( "setMirroringAclUdf" ),
      operation< &Manager::verifyMirroringAclUdf >( "verifyMirroringAclUdf" ),
  };
  static constexpr Kiv::OperationTable table{ own };
  return table;
}

const Kiv::OperationTable & MorvaneBoundedTcamEntryManager::operationTable() const {
  using Manager = MorvaneBoundedTcamEntryManager;
  static constexpr Kiv::Operation own[] = {
      operation< &Manager::getEntry >( "getEntry" ),
      operation< &Manager::getEntryWithStats >( "getEntryWithStats" ),
  };
  static const Kiv::OperationTable table{ own, &MorvaneTcamEntryManager::operationTable() };
  return table;
}

const Kiv::OperationTable & MorvaneUnboundedTcamEntryManager::operationTable() const {
  using Manager = MorvaneUnboundedTcamEntryManager;
  static constexpr Kiv::Operation own[] = {
      operation< &Manager::getEntry >( "getEntry" ),
      operation< &Manager::getEntryWithStats >( "getEntryWithStats" ),
  };
  static const Kiv::OperationTable table{ own, &MorvaneTcamEntryManager::operationTable() };
  return table;
}

}  // namespace Morvane
