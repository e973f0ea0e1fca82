# Puts a page together: the style sheets and scripts that an HTML file names become part of it, and the
# whole a C++ source that defines `const char NAME[]` in the namespace remora.
# Used with cmake -DPAGE=page.html -DNAME=kPage -DOUT=page.cpp -P EmbedPage.cmake
cmake_minimum_required(VERSION 3.22)
get_filename_component(folder ${PAGE} DIRECTORY)
file(READ ${PAGE} page)

function(inline pattern open close)
  string(REGEX MATCHALL "${pattern}" tags "${page}")
  foreach(tag IN LISTS tags)
    string(REGEX REPLACE "${pattern}" "\\1" name "${tag}")
    file(READ ${folder}/${name} content)
    string(REPLACE "${tag}" "${open}\n${content}${close}" page "${page}")
  endforeach()
  set(page "${page}" PARENT_SCOPE)
endfunction()
inline("<link rel=\"stylesheet\" href=\"([^\"]*)\">" "<style>" "</style>")
inline("<script src=\"([^\"]*)\"></script>" "<script>" "</script>")

file(WRITE ${OUT} "// Made by cmake/EmbedPage.cmake.
namespace remora {
extern const char ${NAME}[];
const char ${NAME}[] =
R\"remora(${page})remora\";
}  // namespace remora
")
