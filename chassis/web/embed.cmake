# Makes a source of the files of the page: FILES, OUTPUT.
set(rows "")
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  get_filename_component(extension ${file} LAST_EXT)
  if(extension STREQUAL ".html")
    set(type "text/html; charset=utf-8")
  elseif(extension STREQUAL ".css")
    set(type "text/css; charset=utf-8")
  elseif(extension STREQUAL ".js")
    set(type "text/javascript; charset=utf-8")
  elseif(extension STREQUAL ".svg")
    set(type "image/svg+xml")
  else()
    message(FATAL_ERROR "${file}: of which type is it?")
  endif()
  if(name STREQUAL "chart.min.js")
    set(name "chart.js")
  endif()
  # As bytes: a literal of text has a longest length.
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(MAKE_C_IDENTIFIER "bytes_${name}" identifier)
  string(APPEND arrays "constexpr unsigned char ${identifier}[] = {${bytes}};\n")
  string(APPEND rows "    {\"${name}\", \"${type}\", {reinterpret_cast<const char *>(${identifier}), sizeof ${identifier}}},\n")
endforeach()
file(WRITE ${OUTPUT} "// Made from the files of the page.
#include \"web/assets.h\"

#include <algorithm>
#include <stdexcept>

namespace chassis {

namespace {

${arrays}
const Asset kAssets[] = {
${rows}};

} // namespace

const Asset &asset(std::string_view name) {
    const auto found = std::ranges::find_if(kAssets, [&](const Asset &each) { return name == each.name; });
    if (found == std::end(kAssets)) {
        throw std::logic_error(\"no file of the page: \" + std::string(name));
    }
    return *found;
}

} // namespace chassis
")
