// Compares the managers' records with the state of the software ASIC.
//
// Can be called after any operation. Returns one line per difference, none if the records are
// right. Checked for every unit of the group manager:
//   locks            activity lock held by the caller, SDK lock free, no SDK call without it
//   groups           on the chip exactly while they have users; reference and entry counts
//   entries          on every pipe and copy, with the same rule, priority and state; none on the
//                    chip without an owner
//   twins            of the outer-VLAN workaround: rule, port bitmap and the map by VLAN
//   statistics       recorded objects exist and are attached to their entry
//   preselectors     recorded for their group and used by no other
//   range checkers   same interval and flags on the chip while they have users
//   policers         in every pipe with the same rates; attached to every copy of an entry
//   data qualifiers  as recorded, with the use counts of their groups, and in the groups' sets
//   capacity         the SDK's record against slices and managers; the capacity state machine's
//                    table and alarms, if given, against the record
//
// Uses the managers' public attributes and the chip's inspection functions; changes nothing.
//
// Locking: call with the activity lock held; inspection takes the SDK lock.
#pragma once

#include <string>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "softasic/SoftAsic.h"

namespace Audit {

// `capacity` must have been polled after the last change; may be null.
std::vector< std::string > audit( const Morvane::MorvaneTcamGroupManager & manager,
                                  const SoftAsic::SoftAsic & chip,
                                  const Morvane::MorvaneTcamCapacitySm * capacity = nullptr );

}  // namespace Audit
