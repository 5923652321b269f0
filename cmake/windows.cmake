# What the Windows build takes from outside: the system libraries of the SDK, and the two
# header-only libraries of the host (nlohmann-json, CLI11), which hold no code for a target.
# The host's include folder itself is never put on the cross compiler's path (it holds the C
# library of Linux); a folder of the build tree links to the two libraries alone.
set(VELA_HOST_HEADERS ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${VELA_HOST_HEADERS})
foreach(library nlohmann CLI)
  if(NOT EXISTS /usr/include/${library})
    message(FATAL_ERROR "The Windows build needs /usr/include/${library} (scripts/deps)")
  endif()
  file(CREATE_LINK /usr/include/${library} ${VELA_HOST_HEADERS}/${library} SYMBOLIC)
endforeach()

add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
                      INTERFACE_INCLUDE_DIRECTORIES ${VELA_HOST_HEADERS})
add_library(CLI11::CLI11 INTERFACE IMPORTED)
set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${VELA_HOST_HEADERS})

# Windows 7 and later: the provider calls the APIs of that release.
add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
# No DLLs of the compiler's runtime beside the modules: Wine and a bare host find everything.
add_link_options(-static -static-libgcc -static-libstdc++)

# No message catalogs on Windows: the calls of libintl.h behave as without a catalog.
add_library(Intl::Intl INTERFACE IMPORTED)
set_target_properties(Intl::Intl PROPERTIES
                      INTERFACE_INCLUDE_DIRECTORIES ${CMAKE_CURRENT_SOURCE_DIR}/platform/win/include)
# localtime_r and its kin of the C runtime.
add_compile_definitions(_POSIX_THREAD_SAFE_FUNCTIONS=200112L)
