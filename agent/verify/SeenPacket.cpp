#include "agent/verify/SeenPacket.h"

namespace Agent {

SeenPacket::SeenPacket( const SoftAsic::ChipProfile & chip, std::span< const U8 > frame,
                        const PortPair & ports )
    : parsed_( SoftAsic::parseFrame( frame.data(), frame.size() ) ),
      ports_( ports ),
      takenAsTagged_( chip.sharedByPipes && parsed_.l3 != 0 &&
                      !SoftAsic::hasOuterTag( parsed_.key ) ) {}

std::optional< FieldBits > SeenPacket::value( const MatchField & field,
                                              Direction direction ) const {
  if ( field.id == FieldId::inPorts )
    return FieldBits{ 0, ports_.in };
  if ( field.id == FieldId::outPorts )
    return FieldBits{ 0, ports_.out };
  if ( field.id == FieldId::fragments ) {
    if ( !has( SoftAsic::keyProtocol ) )
      return std::nullopt;
    const Fragments kind = has( SoftAsic::keyLaterFragment ) ? Fragments::later
                           : has( SoftAsic::keyFragment )    ? Fragments::first
                                                             : Fragments::none;
    return FieldBits{ 0, static_cast< U64 >( kind ) };
  }
  const SoftAsic::FieldPlace & place =
      SoftAsic::keyFields()[ static_cast< U32 >( SoftAsic::fieldIndex( field.qualifier ) ) ];
  if ( takenAsTagged_ && direction == Direction::in && place.needs == SoftAsic::keyOuterTag )
    return FieldBits{};
  if ( !has( place.needs ) )
    return std::nullopt;
  if ( field.width > 64 )
    return FieldBits{ parsed_.key.words[ place.word ], parsed_.key.words[ place.word + 1U ] };
  const U64 bits = SoftAsic::fieldOf( parsed_.key, place ) >> field.shift;
  return FieldBits{ 0, bits & ( ( U64{ 1 } << field.width ) - 1 ) };
}

}  // namespace Agent
