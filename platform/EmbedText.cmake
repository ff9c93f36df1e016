# Turns text files into a C++ source with one constant per file.
#
#   cmake -DOUT=x.cpp -DNAMESPACE=Space -DSYMBOL=name -DFILES=a.json,b.json -P EmbedText.cmake
#
# NAMESPACE::SYMBOL is the array of Platform::BuiltInText that the source defines.
string(REPLACE "," ";" files "${FILES}")
set(items "")
foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME_WE)
  file(READ "${file}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(MAKE_C_IDENTIFIER "${name}" id)
  string(APPEND arrays "constexpr unsigned char text_${id}[] = {${bytes}0};\n")
  string(APPEND items
    "    { \"${name}\", reinterpret_cast< const char * >( text_${id} ) },\n")
endforeach()
file(WRITE "${OUT}.new"
"// Made by platform/EmbedText.cmake.
#include \"platform/BuiltInText.h\"

namespace ${NAMESPACE} {

namespace {

${arrays}
const Platform::BuiltInText texts[] = {
${items}};

}  // namespace

extern const std::span< const Platform::BuiltInText > ${SYMBOL};
const std::span< const Platform::BuiltInText > ${SYMBOL} = texts;

}  // namespace ${NAMESPACE}
")
file(COPY_FILE "${OUT}.new" "${OUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUT}.new")
