// Runs the command as a process of its own, in a folder of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace Agent {

struct Outcome {
  int status = -1;
  std::string out;
  std::string error;
};

class CommandRunner : public testing::Test {
 protected:
  CommandRunner() : folder_( testing::TempDir() + "/morvane-tcam-" + std::to_string( getpid() ) ) {
    std::filesystem::create_directories( folder_ );
  }
  ~CommandRunner() override { std::filesystem::remove_all( folder_ ); }

  std::string write( const std::string & name, const std::string & text ) {
    std::ofstream( folder_ + "/" + name ) << text;
    return folder_ + "/" + name;
  }
  std::string read( const std::string & name ) {
    std::ifstream in( folder_ + "/" + name );
    return { std::istreambuf_iterator< char >( in ), {} };
  }
  Outcome run( const std::string & arguments ) { return run( arguments, folder_ + "/out" ); }
  Outcome run( const std::string & arguments, const std::string & output ) {
    const std::string line = std::string( MORVANE_TCAM ) + " " + arguments + " > " + output +
                             " 2> " + folder_ + "/error";
    const int status = std::system( line.c_str() );
    return { WIFEXITED( status ) ? WEXITSTATUS( status ) : -1, read( "out" ), read( "error" ) };
  }

  const std::string folder_;
};

}  // namespace Agent
