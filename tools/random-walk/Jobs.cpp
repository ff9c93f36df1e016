#include "tools/random-walk/Jobs.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

namespace Test::RandomWalk {

namespace {

// Time limit of a process.
constexpr U32 secondsMax = 300;

[[noreturn]] void fail( const char * what ) {
  throw std::system_error( errno, std::generic_category(), what );
}

// Reads a file from its beginning, and closes it.
std::string takeText( std::FILE * file ) {
  std::string text;
  std::rewind( file );
  char buffer[ 4096 ];
  for ( size_t got; ( got = std::fread( buffer, 1, sizeof( buffer ), file ) ) > 0; )
    text.append( buffer, got );
  std::fclose( file );
  return text;
}

std::string endingText( int status ) {
  if ( !WIFSIGNALED( status ) )
    return "";
  return WTERMSIG( status ) == SIGALRM ? fmt::format( "not done after {} seconds\n", secondsMax )
                                       : fmt::format( "ended by signal {}\n", WTERMSIG( status ) );
}

}  // namespace

struct Jobs::Process {
  pid_t pid = 0;  // 0: none
  U64 stretch = 0;
  std::FILE * errors = nullptr;
  Tally * tally = nullptr;
};

Jobs::Jobs( const Plan & plan, U32 processes ) : plan_( plan ), processes_( processes ) {
  tallies_ = mmap( nullptr, processes * sizeof( Tally ), PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
  if ( tallies_ == MAP_FAILED )
    fail( "mmap" );
  for ( U32 i = 0; i < processes; ++i )
    processes_[ i ].tally = static_cast< Tally * >( tallies_ ) + i;
}

Jobs::~Jobs() {
  munmap( tallies_, processes_.size() * sizeof( Tally ) );
}

void Jobs::start( const Stretch & stretch, U64 number ) {
  Process & process = *std::find_if( processes_.begin(), processes_.end(),
                                     []( const Process & p ) { return p.pid == 0; } );
  process.stretch = number;
  *process.tally = {};
  process.errors = std::tmpfile();
  if ( process.errors == nullptr )
    fail( "temporary file" );
  process.pid = fork();
  if ( process.pid < 0 )
    fail( "fork" );
  if ( process.pid != 0 ) {
    ++running_;
    return;
  }
  dup2( fileno( process.errors ), STDERR_FILENO );
  alarm( secondsMax );
  const std::string wrong = play( stretch, *process.tally );
  std::fputs( wrong.c_str(), stderr );
  std::fflush( stderr );
  _exit( wrong.empty() ? 0 : 1 );
}

void Jobs::awaitOne() {
  int status = 0;
  const pid_t pid = waitpid( -1, &status, 0 );
  const auto process = std::find_if( processes_.begin(), processes_.end(),
                                     [ & ]( const Process & p ) { return p.pid == pid; } );
  if ( pid <= 0 || process == processes_.end() )
    fail( "waitpid" );
  process->pid = 0;
  --running_;
  total_ += *process->tally;
  const std::string text = takeText( process->errors );
  if ( status != 0 )
    findings_.push_back( { process->stretch, process->tally->step, text + endingText( status ) } );
}

std::vector< Finding > Jobs::run( U64 operations,
                                  const std::function< void( const Tally & ) > & progress ) {
  U64 number = 0;
  const auto goesOn = [ & ] { return total_.operations < operations && findings_.empty(); };
  while ( running_ != 0 || goesOn() ) {
    if ( running_ < processes_.size() && goesOn() ) {
      start( makeStretch( plan_, number ), number );
      ++number;
    } else {
      awaitOne();
      progress( total_ );
    }
  }
  return std::exchange( findings_, {} );
}

std::vector< Finding > Jobs::runOne( U64 number ) {
  start( makeStretch( plan_, number ), number );
  awaitOne();
  return std::exchange( findings_, {} );
}

}  // namespace Test::RandomWalk
