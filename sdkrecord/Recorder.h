// Shim decorator that writes every SDK call with its results to a file, one a line.
//
//   SoftAsic::SoftAsic chip;
//   chip.addUnit( 0, profile );
//   SdkRecord::Recorder recorder( chip, "calls.rec" );   // also the packets of this chip
//   Shim::sdk_ = &recorder;
//
// A call is in the file when it returns, its arguments when it starts: the record of a process that
// ends in the middle of a call ends with that call. `morvane-tcam replay` makes the calls again.
//
// Calls that do not reach it are not recorded: below a fault injector it records what the chip did,
// above it what the library was answered.
//
// Locks: written inside SDK calls and packets, under the SDK lock.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "sdkrecord/Recording.h"
#include "shim/SdkDecorator.h"
#include "softasic/SoftAsic.h"

namespace SdkRecord {

class Recorder : public Shim::SdkDecorator, private SoftAsic::ChipWatcher {
 public:
  // Of the calls of any SDK; `units`: the chips to replay them on. Throw std::system_error if the
  // file cannot be written. What they are given must outlive this object.
  Recorder( Shim::SdkShim & next, const std::string & file, const Units & units = {} );
  // Of the calls and packets of a software ASIC, whose units are all there; `next` is on top of it.
  Recorder( Shim::SdkShim & next, SoftAsic::SoftAsic & chip, const std::string & file );
  Recorder( SoftAsic::SoftAsic & chip, const std::string & file ) : Recorder( chip, chip, file ) {}
  ~Recorder() override;
  Recorder( const Recorder & ) = delete;
  Recorder & operator=( const Recorder & ) = delete;

  // The error of the first line that could not be written, as in errno; 0: none. Nothing is written
  // after it.
  int error() const { return error_; }
  const std::string & file() const { return name_; }

#define SDK_OP( name, params, args )                                          \
  int name( U32 unit SDK_UNPACK params ) override {                           \
    return record( Shim::SdkOp::name, &SdkShim::name, unit SDK_UNPACK args ); \
  }
#include "shim/SdkOperations.inc"

 private:
  template < class... P >
  int record( Shim::SdkOp op, int ( SdkShim::*method )( U32, P... ), U32 unit,
              std::type_identity_t< P >... given ) {
    const Operation & operation = operationOf( op );
    ArgumentsOf< P... > before( method );
    before.take( operation, given... );
    write( callText( operation, unit, before.leaves( operation ) ) );
    ArgumentsOf< P... > after( before );
    int rc = 0;
    try {
      rc = after.callThrough( next(), unit, given... );
    } catch ( ... ) {
      write( threwText );
      throw;
    }
    after.taken( operation, given... );
    write( resultText( rc, before.leaves( operation ), after.leaves( operation ) ) );
    return rc;
  }

  void packet( U32 unit, U64 time, U32 port, U32 egressPort, const U8 * frame,
               size_t length ) override;
  void reset( U32 unit ) override;
  void write( const std::string & text );

  const std::string name_;
  SoftAsic::SoftAsic * chip_ = nullptr;
  std::unique_ptr< std::FILE, int ( * )( std::FILE * ) > file_;
  int error_ = 0;
};

}  // namespace SdkRecord
