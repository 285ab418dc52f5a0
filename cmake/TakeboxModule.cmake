# One library per folder of src/, one test program per folder of tests/, the same warnings for all.

find_program(CCACHE ccache)
if(CCACHE)
  # What it must overlook to keep objects that precompiled headers went into.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CCACHE}")
endif()

add_library(takebox_options INTERFACE)
target_compile_options(takebox_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_compile_definitions(takebox_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH
  TAKEBOX_VERSION="${PROJECT_VERSION}")
target_include_directories(takebox_options INTERFACE "${PROJECT_SOURCE_DIR}/src")
if(TAKEBOX_SANITIZE)
  # The instrumented code confuses the compiler's own search for uninitialised values.
  target_compile_options(takebox_options INTERFACE
    -fsanitize=${TAKEBOX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -O1 -g1
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  if(TAKEBOX_SANITIZE MATCHES "undefined")
    # This check looks at memory through a pipe, and takes a process without descriptors for broken.
    target_compile_options(takebox_options INTERFACE -fno-sanitize=vptr)
  endif()
  target_link_options(takebox_options INTERFACE -fsanitize=${TAKEBOX_SANITIZE})
  target_compile_definitions(takebox_options INTERFACE QT_FORCE_ASSERTS TAKEBOX_SANITIZED=1)
endif()

if(TAKEBOX_COVERAGE)
  # Threads count, too, so each count is one step.
  target_compile_options(takebox_options INTERFACE --coverage -fprofile-update=atomic -O0)
  target_link_options(takebox_options INTERFACE --coverage)
endif()

# Tests take longer to compile than to run; who wants to step through one takes the dev preset.
add_library(takebox_test_options INTERFACE)
if(TAKEBOX_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
  target_compile_options(takebox_test_options INTERFACE -O0 -g1)
endif()
find_program(LLD ld.lld)
if(LLD)
  # It links the many test programs in a quarter of the time.
  target_link_options(takebox_test_options INTERFACE -fuse-ld=lld)
endif()

# takebox_module(NAME SOURCES ... USES ... LINKS ...)
# USES: modules whose headers ours includes; LINKS: libraries that only our sources see.
function(takebox_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;LINKS")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC takebox_options ${arg_USES} PRIVATE ${arg_LINKS})
  if("Qt6::Widgets" IN_LIST arg_USES)
    takebox_precompile(${name} widgets)
  elseif("${arg_USES}" MATCHES "Qt6::")
    takebox_precompile(${name} core)
  else()
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  endif()
  if(TAKEBOX_TIDY)
    set_target_properties(${name} PROPERTIES CXX_CLANG_TIDY "clang-tidy;--quiet")
  endif()
endfunction()

# takebox_test(NAME SOURCES ... USES ... [WIDGETS] [TIMEOUT seconds] [COST seconds])
# One test program, one CTest entry. WIDGETS gives it an application with windows; COST is about how
# long it takes, for those that take long: they are started first.
function(takebox_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WIDGETS" "TIMEOUT;COST" "SOURCES;USES")
  set(main "${PROJECT_SOURCE_DIR}/tests/support/main.cpp")
  if(arg_WIDGETS)
    set(main "${PROJECT_SOURCE_DIR}/tests/support/main_widgets.cpp")
  endif()
  add_executable(${name} ${arg_SOURCES} ${main})
  target_link_libraries(${name} PRIVATE takebox_options takebox_test_options test_support ${arg_USES})
  if(arg_WIDGETS)
    target_link_libraries(${name} PRIVATE Qt6::Widgets Qt6::Test)
    takebox_precompile(${name} widgets_test)
  else()
    takebox_precompile(${name} test)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 240)
  endif()
  if(NOT arg_COST)
    set(arg_COST 0)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} COST ${arg_COST})
endfunction()
