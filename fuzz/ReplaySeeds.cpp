// Runs a fuzz target on all files of the given folders, for compilers without libFuzzer. Fails if
// there are no files, so that a wrong folder is noticed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t * data, std::size_t size );

namespace {

void replay( const std::filesystem::path & file ) {
  std::ifstream in( file, std::ios::binary );
  const std::string bytes{ std::istreambuf_iterator< char >( in ), {} };
  LLVMFuzzerTestOneInput( reinterpret_cast< const std::uint8_t * >( bytes.data() ), bytes.size() );
  // Truncated at every length, of long files at about 500 lengths.
  const std::size_t step = 1 + bytes.size() / 500;
  for ( std::size_t size = 0; size < bytes.size(); size += step )
    LLVMFuzzerTestOneInput( reinterpret_cast< const std::uint8_t * >( bytes.data() ), size );
}

}  // namespace

int main( int argc, char ** argv ) {
  int files = 0;
  for ( int i = 1; i < argc; ++i ) {
    for ( const auto & entry : std::filesystem::directory_iterator( argv[ i ] ) ) {
      replay( entry.path() );
      ++files;
    }
  }
  std::printf( "%d seeds\n", files );
  return files == 0 ? 1 : 0;
}
