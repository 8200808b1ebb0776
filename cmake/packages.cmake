# What is taken from packages: nlohmann_json_headers to link with, LIBEDIT, LIBCRYPT, FUSE and LIBMNL of pkg-config, and
# whether there is one.
find_package(nlohmann_json 3 REQUIRED CMAKE_FIND_ROOT_PATH_BOTH)

# Headers only, so the host's are as good for another machine. But the rest of the host's include folder is not, so
# that in a cross build they are reached through a folder of their own.
add_library(nlohmann_json_headers INTERFACE)
if(CMAKE_CROSSCOMPILING)
  get_target_property(_json_include nlohmann_json::nlohmann_json INTERFACE_INCLUDE_DIRECTORIES)
  list(GET _json_include -1 _json_include) # which may stand there twice
  set(_json_dir ${CMAKE_BINARY_DIR}/json)
  file(MAKE_DIRECTORY ${_json_dir})
  file(CREATE_LINK ${_json_include}/nlohmann ${_json_dir}/nlohmann SYMBOLIC)
  target_include_directories(nlohmann_json_headers SYSTEM INTERFACE ${_json_dir})
else()
  target_link_libraries(nlohmann_json_headers INTERFACE nlohmann_json::nlohmann_json)
endif()

# A cross build without the board's libedit or libfuse3 leaves out what needs it; any other must have it, or say that it
# wants none.
set(ZOP_HAS_LIBEDIT ON)
set(ZOP_HAS_FUSE ON)
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
  pkg_check_modules(LIBEDIT IMPORTED_TARGET GLOBAL libedit)
  pkg_check_modules(LIBCRYPT IMPORTED_TARGET GLOBAL libcrypt)
  pkg_check_modules(FUSE IMPORTED_TARGET GLOBAL fuse3)
  pkg_check_modules(LIBMNL IMPORTED_TARGET GLOBAL libmnl)
endif()
if(CMAKE_CROSSCOMPILING AND NOT LIBEDIT_FOUND)
  set(ZOP_HAS_LIBEDIT OFF)
endif()
if(CMAKE_CROSSCOMPILING AND NOT FUSE_FOUND)
  set(ZOP_HAS_FUSE OFF)
endif()
# Without libcrypt no password can be hashed; only a cross build may lack it.
if(NOT CMAKE_CROSSCOMPILING AND NOT LIBCRYPT_FOUND)
  message(FATAL_ERROR "pkg-config finds no libcrypt, which hashes passwords: install libcrypt-dev")
endif()
