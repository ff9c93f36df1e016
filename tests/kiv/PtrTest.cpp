#include "kiv/Ptr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kiv/Exception.h"

namespace {

using Kiv::Ptr;
using Kiv::U32;
using Kiv::ValidPtr;

// An agent with one thread pays for no atomic counts.
const bool threadSafeAtStart = Kiv::enableThreadSafePointers;

struct Base : Kiv::PtrInterface {
  explicit Base( int & deathCount ) : deaths( deathCount ) {}
  ~Base() override { ++deaths; }
  using PtrInterface::refWord_;
  int & deaths;
};

struct Derived : Base {
  using Base::Base;
};

class PtrTest : public testing::TestWithParam< bool > {
 protected:
  PtrTest() { Kiv::enableThreadSafePointers = GetParam(); }
  ~PtrTest() override { Kiv::enableThreadSafePointers = false; }
  int deaths = 0;
};

INSTANTIATE_TEST_SUITE_P( Switch, PtrTest, testing::Bool() );

TEST_P( PtrTest, CountsEveryOwnerAndDeletesOnce ) {
  EXPECT_FALSE( threadSafeAtStart );
  Ptr< Derived > first = Kiv::make< Derived >( deaths );
  Ptr< const Base > asConstBase = first;
  Ptr< Base > moved = std::move( first );
  EXPECT_FALSE( first );
  EXPECT_EQ( moved, asConstBase );
  EXPECT_EQ( moved->references(), 2u );
  const Ptr< Base > & itself = moved;
  moved = itself;
  moved->refWord_.flagsIs( Kiv::RefWord::flagOwner );
  EXPECT_EQ( moved->references(), 2u );
  moved = nullptr;
  EXPECT_EQ( deaths, 0 );
  asConstBase = nullptr;
  EXPECT_EQ( deaths, 1 ) << "the flag bits hide the zero";
}

TEST_P( PtrTest, ValidPtrIsNeverNull ) {
  EXPECT_THAT( [] { ValidPtr< Base > none{ Ptr< Base >() }; },
               testing::ThrowsMessage< Kiv::RangeException >( "null ValidPtr" ) );
  ValidPtr< Derived > valid( new Derived( deaths ) );
  ValidPtr< Derived > taken = std::move( valid );
  EXPECT_NE( valid.get(), nullptr );
  Ptr< Base > converted = taken;
  EXPECT_EQ( converted->references(), 3u );
  EXPECT_EQ( valid, converted );
}

TEST( PtrDeathTest, DestructionObserverCannotKeepTheObject ) {
  static Ptr< Kiv::PtrInterface > kept;
  struct Reviver : Base {
    using Base::Base;
    void zeroReferencesIs() override {
      Ptr< Reviver > brief( this );  // a temporary reference is allowed
      brief = nullptr;
      if ( keep )
        kept = this;
    }
    bool keep = false;
  };
  int deaths = 0;
  Kiv::make< Reviver >( deaths );
  EXPECT_EQ( deaths, 1 );
  EXPECT_DEATH(
      {
        auto reviver = Kiv::make< Reviver >( deaths );
        reviver->keep = true;
        reviver = nullptr;
      },
      "references\\(\\) == 0" );
}

TEST( ThreadSafePtrTest, CountsAreExactAcrossThreads ) {
  Kiv::enableThreadSafePointers = true;
  int deaths = 0;
  Ptr< Base > shared = Kiv::make< Base >( deaths );
  std::vector< std::thread > threads;
  for ( int t = 0; t < 4; ++t )
    threads.emplace_back( [ copy = shared ] {
      for ( int i = 0; i < 20000; ++i )
        Ptr< const Base > mine = copy;
    } );
  for ( std::thread & thread : threads )
    thread.join();
  threads.clear();
  EXPECT_EQ( shared->references(), 1u );
  Kiv::enableThreadSafePointers = false;
}

}  // namespace
