#include "sdkrecord/Recorder.h"

#include <cerrno>
#include <system_error>

namespace SdkRecord {

namespace {

Units unitsOf( const SoftAsic::SoftAsic & chip ) {
  Units units;
  for ( const U32 unit : chip.units() )
    units[ unit ] = chip.profile( unit );
  return units;
}

}  // namespace

Recorder::Recorder( Shim::SdkShim & next, const std::string & file, const Units & units )
    : SdkDecorator( next ), name_( file ), file_( std::fopen( file.c_str(), "w" ), std::fclose ) {
  if ( !file_ )
    throw std::system_error( errno, std::generic_category(), file );
  write( headerText( units ) );
}

Recorder::Recorder( Shim::SdkShim & next, SoftAsic::SoftAsic & chip, const std::string & file )
    : Recorder( next, file, unitsOf( chip ) ) {
  chip_ = &chip;
  chip.watcherIs( this );
}

Recorder::~Recorder() {
  if ( chip_ != nullptr )
    chip_->watcherIs( nullptr );
}

void Recorder::packet( U32 unit, U64 time, U32 port, U32 egressPort, const U8 * frame,
                       size_t length ) {
  write( packetText( unit, { time, port, egressPort, { frame, frame + length } } ) );
}

void Recorder::reset( U32 unit ) {
  write( resetText( unit ) );
}

// Flushed, so that nothing is lost when the process ends in an assertion.
void Recorder::write( const std::string & text ) {
  if ( error_ == 0 &&
       ( std::fputs( text.c_str(), file_.get() ) < 0 || std::fflush( file_.get() ) != 0 ) )
    error_ = errno;
}

}  // namespace SdkRecord
