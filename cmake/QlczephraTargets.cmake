# The shapes of this project's targets.

set(QLCZEPHRA_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough)
option(QLCZEPHRA_WERROR "Warnings are errors" ${PROJECT_IS_TOP_LEVEL})

# What makes a fault in memory harder to use: checked stack frames and buffer functions, no address known beforehand, no
# table of addresses that can be written. The sanitizers' and developers' builds go without; they look for the faults.
set(QLCZEPHRA_HARDENING -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
include(CheckCXXCompilerFlag)
foreach(protection stack-clash-protection cf-protection)  # not for every processor
  check_cxx_compiler_flag(-f${protection} QLCZEPHRA_HAS_${protection})
  if(QLCZEPHRA_HAS_${protection})
    list(APPEND QLCZEPHRA_HARDENING -f${protection})
  endif()
endforeach()
set(QLCZEPHRA_HARDENING_LINK -Wl,-z,relro,-z,now,-z,noexecstack)
option(QLCZEPHRA_HARDEN "Build with the compiler's and linker's protections" ON)
include(CheckPIESupported)
check_pie_supported()

# Options that every target of ours is compiled with.
function(qlczephra_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE ${QLCZEPHRA_WARNINGS})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wthread-safety -Wthread-safety-beta)
  endif()
  if(QLCZEPHRA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(QLCZEPHRA_HARDEN AND CMAKE_BUILD_TYPE MATCHES "Rel")
    target_compile_options(${target} PRIVATE ${QLCZEPHRA_HARDENING})
    target_link_options(${target} PRIVATE ${QLCZEPHRA_HARDENING_LINK})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  endif()
  if(QLCZEPHRA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${QLCZEPHRA_SANITIZE} -fno-sanitize-recover=all
                           -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${QLCZEPHRA_SANITIZE})
  endif()
  if(QLCZEPHRA_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()

# One folder of the library: an object library `qlczephra_<name>` with hidden symbols.
function(qlczephra_component name)
  cmake_parse_arguments(ARG "" "FOLDER" "USES;LIBRARIES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${ARG_FOLDER}/*.cpp")
  set(target qlczephra_${name})
  if(NOT sources)
    file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/empty.cpp" "")
    set(sources "${CMAKE_CURRENT_BINARY_DIR}/empty.cpp")
  endif()
  add_library(${target} OBJECT ${sources})
  qlczephra_options(${target})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                        VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}/src")
  list(TRANSFORM ARG_USES PREPEND qlczephra_)
  target_link_libraries(${target} PRIVATE ${ARG_USES} ${ARG_LIBRARIES})
endfunction()

# The shared and the static library, their installation and their package files.
function(qlczephra_library)
  cmake_parse_arguments(ARG "" "" "COMPONENTS;LIBRARIES" ${ARGN})
  foreach(component IN LISTS ARG_COMPONENTS)
    list(APPEND objects $<TARGET_OBJECTS:qlczephra_${component}>)
  endforeach()

  add_library(qlczephra SHARED ${objects})
  set_target_properties(qlczephra PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  target_link_options(qlczephra PRIVATE -Wl,--no-undefined "-Wl,--version-script=${exports}")
  if(QLCZEPHRA_HARDEN)
    target_link_options(qlczephra PRIVATE ${QLCZEPHRA_HARDENING_LINK})
  endif()
  set_target_properties(qlczephra PROPERTIES LINK_DEPENDS "${exports}")
  target_link_libraries(qlczephra PRIVATE ${ARG_LIBRARIES})

  add_library(qlczephra-static STATIC ${objects})
  set_target_properties(qlczephra-static PROPERTIES OUTPUT_NAME qlczephra)
  target_link_libraries(qlczephra-static PUBLIC ${ARG_LIBRARIES})

  foreach(target qlczephra qlczephra-static)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX CXX_EXTENSIONS OFF)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
                               "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    if(QLCZEPHRA_SANITIZE)
      target_link_options(${target} PUBLIC -fsanitize=${QLCZEPHRA_SANITIZE})
    endif()
    add_library(qlczephra::${target} ALIAS ${target})
  endforeach()
  if(QLCZEPHRA_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # clang links a sanitizer's runtime into programs only, so a library built with one has open symbols.
    target_link_options(qlczephra PRIVATE -Wl,-z,undefs)
  endif()

  include(CMakePackageConfigHelpers)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME library)
  install(TARGETS qlczephra qlczephra-static EXPORT qlczephra)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/qlczephra" TYPE INCLUDE)
  install(EXPORT qlczephra NAMESPACE qlczephra:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qlczephra"
          FILE qlczephraTargets.cmake)
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/qlczephraConfig.cmake.in" qlczephraConfig.cmake
                                INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qlczephra")
  write_basic_package_version_file(qlczephraConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/qlczephraConfig.cmake"
                "${CMAKE_CURRENT_BINARY_DIR}/qlczephraConfigVersion.cmake"
          DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qlczephra")
  # Relative, so that an installed tree can be moved.
  file(RELATIVE_PATH QLCZEPHRA_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/qlczephra.pc.in" qlczephra.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/qlczephra.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
