#include "sdkcheck/SoftwareChip.h"

#include "sdkcheck/Chips.h"
#include "softasic/SoftAsic.h"

namespace SdkCheck {

std::vector< std::string > softwareChips() {
  std::vector< std::string > names;
  for ( const SoftAsic::ChipProfile & chip : chips() )
    names.push_back( chip.name );
  return names;
}

std::unique_ptr< Shim::SdkShim > softwareChip( const std::string & name, Kiv::U32 unit ) {
  auto sdk = std::make_unique< SoftAsic::SoftAsic >();
  for ( const SoftAsic::ChipProfile & chip : chips() )
    if ( chip.name == name )
      sdk->addUnit( unit, chip );
  return sdk;
}

}  // namespace SdkCheck
