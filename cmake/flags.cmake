# What every target of this project is built with. `zop_flags` is for all of it, `product_flags` adds what the
# board's code lives without; the test framework is built with neither.
add_library(zop_flags INTERFACE)
target_compile_options(zop_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Wformat=2)
target_include_directories(zop_flags INTERFACE ${PROJECT_SOURCE_DIR})
# Programs do not tell where they were built, and are the same wherever that was.
target_compile_options(zop_flags INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
                                           -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)

add_library(product_flags INTERFACE)
target_link_libraries(product_flags INTERFACE zop_flags)
target_compile_options(product_flags INTERFACE -fno-exceptions -fno-rtti -ffunction-sections -fdata-sections)
target_link_options(product_flags INTERFACE -Wl,--gc-sections)

add_link_options(-Wl,--as-needed)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(product_flags INTERFACE -fstack-protector-strong)
  target_compile_definitions(product_flags INTERFACE _FORTIFY_SOURCE=2)
  target_link_options(product_flags INTERFACE -Wl,-z,relro,-z,now)
endif()

if(ZOP_SANITIZE)
  add_compile_options(-fsanitize=${ZOP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
                      -fno-sanitize=vptr) # its check needs the type information that the product is built without
  string(REPLACE "fuzzer-no-link," "" _link_sanitize "${ZOP_SANITIZE}")
  add_link_options(-fsanitize=${_link_sanitize})
endif()
if(ZOP_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
