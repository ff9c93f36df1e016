#include "sdkcheck/Chips.h"

namespace SdkCheck {

namespace {

using SoftAsic::ChipProfile;

ChipProfile single() {
  ChipProfile chip;
  chip.name = "single";
  chip.statistics = 512;
  chip.rangeCheckers = 16;
  chip.policers = 64;
  chip.dataChunks = 8;
  chip.dataFormats = 8;
  SoftAsic::StageProfile ifp;
  ifp.kind = SoftAsic::StageKind::ifp;
  ifp.slices = { { 2, 64, 160, false }, { 4, 128, 160, true } };
  ifp.doubleWide = true;
  ifp.paired = true;
  chip.stages = { ifp };
  return chip;
}

ChipProfile pipes() {
  ChipProfile chip = single();
  chip.name = "pipes";
  chip.pipes = 2;
  chip.portsPerPipe = 16;
  chip.secondCopy = true;
  chip.groupByPreselector = true;
  chip.fixedGroupKeys = true;
  chip.preselectors = 16;
  return chip;
}

ChipProfile shared() {
  ChipProfile chip = single();
  chip.name = "shared";
  chip.pipes = 3;
  chip.portsPerPipe = 16;
  chip.sharedByPipes = true;
  return chip;
}

ChipProfile half() {
  ChipProfile chip = single();
  chip.name = "half";
  chip.ingressHalfSize = true;
  chip.singlePortKey = true;
  chip.stages[ 0 ].paired = false;
  return chip;
}

}  // namespace

const std::vector< ChipProfile > & chips() {
  static const std::vector< ChipProfile > all = { single(), pipes(), shared(), half() };
  return all;
}

}  // namespace SdkCheck
