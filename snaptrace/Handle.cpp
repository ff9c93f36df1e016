#include "snaptrace/Handle.h"

#include <cerrno>
#include <cstring>

#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "snaptrace/BcmFpCmd.h"

constinit Snaptrace::Facility bcmFpCmd( "bcmFpCmd" );

namespace Snaptrace {

constinit Handle defaultSnaptraceHandle;

MtTraceFile::MtTraceFile( const char * path ) : file_( std::fopen( path, "a" ) ) {
  if ( !file_ )
    throw Kiv::ErrnoException( errno, Kiv::String8( "Failed to open trace file " ) + path );
}

void MtTraceFile::write( std::string_view message ) {
  Kiv::LockGuard guard( lock_ );
  std::fwrite( message.data(), 1, message.size(), file_.get() );
  std::fputc( '\n', file_.get() );
  std::fflush( file_.get() );
}

Handle::~Handle() {
  enabledIs( false );
  delete ringBuf_.exchange( nullptr );
  delete mtTraceFile_.exchange( nullptr );
}

void Handle::enabledIs( bool enabled, U32 bytes ) {
  if ( enabled && !ringBuf() ) {
    auto ring = std::make_unique< RingBuf >( bytes );
    RingBuf * none = nullptr;
    if ( ringBuf_.compare_exchange_strong( none, ring.get(), std::memory_order_acq_rel ) )
      static_cast< void >( ring.release() );  // the handle owns it now
  }
  if ( enabled_.exchange( enabled, std::memory_order_relaxed ) != enabled )
    Kiv::tracesOn.fetch_add( enabled ? 1U : ~0U, std::memory_order_relaxed );
}

std::vector< std::string > Handle::lines() const {
  const RingBuf * ring = ringBuf();
  return ring ? ring->lines() : std::vector< std::string >();
}

void Handle::mtTraceFileIs( std::unique_ptr< MtTraceFile > file ) {
  delete mtTraceFile_.exchange( file.release(), std::memory_order_acq_rel );
}

void Facility::enabledIs( bool enabled ) {
  if ( enabled )
    handle_.enabledIs( true );
  enabled_.store( enabled, std::memory_order_relaxed );
}

void MsgDesc::finish() {
  RingBuf * ring = handle_.ringBuf();
  if ( !handle_.enabled() || !ring )
    return;
  if ( MtTraceFile * file = handle_.mtTraceFile() ) {
    file->write( text_ );
    return;
  }
  auto size = static_cast< U32 >( text_.size() );
  std::memcpy( ring->startMsg( size ), text_.data(), size );
  ring->endMsg();
}

}  // namespace Snaptrace
