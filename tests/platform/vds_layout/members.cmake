# Lists the VDS structures of the platform headers and their members, for the layout check
# against the cross compiler's <vds.h>. The headers keep one member a line: members at two
# spaces, members of an anonymous union at four, and "} name;" closing a member struct.
#
# vela_vds_layout_members(<output .inc> <header>...) writes VDS_LAYOUT_STRUCT(name) and
# VDS_LAYOUT_MEMBER(name, member) lines.
function(vela_vds_layout_members output)
  # Known differences, left out of the check:
  # - VDS_PATH_ID is two 64-bit words in the platform's documentation and in our headers, one
  #   64-bit word in mingw-w64's <vds.h>; VDS_PATH_INFO and VDS_PATH_POLICY, which hold it,
  #   differ with it.
  # - mingw-w64's <vds.h> lacks the service notification and the shrink member of the async
  #   output, which the documentation has; neither changes the size of what holds it.
  set(excluded_structs VDS_PATH_ID VDS_PATH_INFO VDS_PATH_POLICY VDS_SERVICE_NOTIFICATION)
  set(excluded_members VDS_NOTIFICATION.Service VDS_ASYNC_OUTPUT.sv)
  set(identifier "[A-Za-z_][A-Za-z0-9_]*")
  set(result "")
  foreach(header IN LISTS ARGN)
    file(READ ${header} text)
    # One list element per line; a semicolon would split a line into two.
    string(REPLACE ";" "@" text "${text}")
    string(REPLACE "\n" ";" lines "${text}")
    set(current "")
    foreach(line IN LISTS lines)
      if(line MATCHES "^struct (${identifier}) {$")
        set(current ${CMAKE_MATCH_1})
        if(current IN_LIST excluded_structs)
          set(current "")
        else()
          string(APPEND result "VDS_LAYOUT_STRUCT(${current})\n")
        endif()
      elseif(line STREQUAL "}@")
        set(current "")
      elseif(current)
        set(member "")
        if(line MATCHES "^  (  )?${identifier}[A-Za-z0-9_ ]*[ *](${identifier})(\\[[^]]*\\])?@$")
          set(member ${CMAKE_MATCH_2})
        elseif(line MATCHES "^    } (${identifier})@$")
          set(member ${CMAKE_MATCH_1})
        endif()
        if(member AND NOT "${current}.${member}" IN_LIST excluded_members)
          string(APPEND result "VDS_LAYOUT_MEMBER(${current}, ${member})\n")
        endif()
      endif()
    endforeach()
  endforeach()
  file(WRITE ${output} "${result}")
endfunction()
