# cmake -DOUTPUT=FILE.cpp "-DRESOURCES=ID=FILE;..." -P embed_resources.cmake
# Writes the source that carries the files as module resources, for systems whose modules have none of their own.
set(arrays "")
set(table "")
foreach(resource IN LISTS RESOURCES)
    string(REGEX MATCH "^([0-9]+)=(.*)$" matched "${resource}")
    set(id ${CMAKE_MATCH_1})
    file(READ "${CMAKE_MATCH_2}" bytes HEX)
    string(REGEX REPLACE "(................................)" "\\1\n    " bytes "${bytes}")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "const unsigned char kResource${id}[] = {\n    ${bytes}};\n")
    string(APPEND table "    {${id}, kResource${id}},\n")
endforeach()
file(WRITE "${OUTPUT}" "#include \"platform/system/system_detail.h\"

namespace platform::detail {
namespace {

${arrays}const EmbeddedResource kResources[] = {
${table}};

}  // namespace

std::span<const EmbeddedResource> EmbeddedResources() { return kResources; }

}  // namespace platform::detail
")
