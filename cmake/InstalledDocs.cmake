# Copies the pages of SOURCE to TO for an installed tree, which has the pages in PAGES_AT and the headers in
# HEADERS_AT. Links to headers lead to HEADERS_AT; links to files that are not installed become plain text.

set(INSTALLED "^(README|CHANGELOG)\\.md$|^LICENSE$|^(docs|examples)(/|$)")

function(qz_converted_link page text link result)
  set(${result} "[${text}](${link})" PARENT_SCOPE)
  string(REGEX REPLACE "#.*" "" path "${link}")
  cmake_path(GET page PARENT_PATH folder)
  cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${SOURCE}/${folder}" NORMALIZE)
  if(path STREQUAL "" OR link MATCHES "^#|:" OR NOT EXISTS "${path}")
    return() # within the page, to another site, or code that is no link
  endif()
  file(RELATIVE_PATH target "${SOURCE}" "${path}")
  if(target MATCHES "^inc/")
    string(REGEX REPLACE "^inc" "${HEADERS_AT}" header "${target}")
    file(RELATIVE_PATH header "${PAGES_AT}/${folder}" "${header}")
    set(${result} "[${text}](${header})" PARENT_SCOPE)
  elseif(NOT target MATCHES "${INSTALLED}")
    set(${result} "${text}" PARENT_SCOPE)
  endif()
endfunction()

function(qz_copy_page page)
  file(READ "${SOURCE}/${page}" rest)
  set(converted "")
  while(rest MATCHES "\\[([^]]*)\\]\\(([^()]*)\\)")
    set(found "${CMAKE_MATCH_0}")
    qz_converted_link("${page}" "${CMAKE_MATCH_1}" "${CMAKE_MATCH_2}" link)
    string(FIND "${rest}" "${found}" at)
    string(SUBSTRING "${rest}" 0 ${at} before)
    string(LENGTH "${found}" length)
    math(EXPR at "${at} + ${length}")
    string(SUBSTRING "${rest}" ${at} -1 rest)
    string(APPEND converted "${before}${link}")
  endwhile()
  file(WRITE "${TO}/${page}" "${converted}${rest}")
endfunction()

file(REMOVE_RECURSE "${TO}") # it may have pages that were removed from the tree
file(GLOB_RECURSE pages RELATIVE "${SOURCE}" "${SOURCE}/docs/*.md" "${SOURCE}/examples/*.md")
foreach(page IN LISTS pages ITEMS README.md CHANGELOG.md)
  qz_copy_page("${page}")
endforeach()
