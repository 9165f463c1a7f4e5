# Programs that call a real library which chooses its code at run time:
# Debian's arm64 build of Highway, whose sorting code in libhwy_contrib has
# SVE and SVE2 targets next to NEON. The programs are built for plain
# ARMv8.0, so every SVE instruction they run is one that the library chose
# after asking the system what the processor has.
#
# tools/setup-debian.sh downloads the packages (without installing them:
# that would bring Debian's arm64 C library) into out/packages; they are
# unpacked here into the build tree. Without them the tests report that they
# were skipped.
set(SVE_PACKAGES_DIR ${PROJECT_SOURCE_DIR}/out/packages CACHE PATH
    "Folder with the arm64 .deb files of the libraries the end-to-end tests call (tools/setup-debian.sh downloads them)")
set(hwy_programs hwy_sort hwy_target)
set(hwy_root ${CMAKE_BINARY_DIR}/packages)

# hwy_unpack(): sets hwy_missing to why the packages cannot be used, or
# leaves it empty after unpacking them (again only when the files changed).
function(hwy_unpack)
  find_program(DPKG_DEB dpkg-deb)
  if(NOT DPKG_DEB)
    set(hwy_missing "dpkg-deb is not installed" PARENT_SCOPE)
    return()
  endif()
  set(debs)
  foreach(package libhwy1 libhwy-dev)
    file(GLOB deb ${SVE_PACKAGES_DIR}/${package}_*_arm64.deb)
    list(LENGTH deb count)
    if(count EQUAL 0)
      set(hwy_missing "no ${package}_*_arm64.deb in ${SVE_PACKAGES_DIR}: run tools/setup-debian.sh, then configure again"
          PARENT_SCOPE)
      return()
    elseif(count GREATER 1)
      set(hwy_missing "several versions of ${package} in ${SVE_PACKAGES_DIR}: keep one" PARENT_SCOPE)
      return()
    endif()
    list(APPEND debs ${deb})
  endforeach()
  # A new download of the packages configures the build again.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${debs})
  set(stamp ${hwy_root}/unpacked.txt)
  set(unpacked "")
  if(EXISTS ${stamp})
    file(READ ${stamp} unpacked)
  endif()
  if(NOT unpacked STREQUAL "${debs}")
    file(REMOVE_RECURSE ${hwy_root})
    file(MAKE_DIRECTORY ${hwy_root})
    foreach(deb ${debs})
      execute_process(COMMAND ${DPKG_DEB} -x ${deb} ${hwy_root} RESULT_VARIABLE rc ERROR_VARIABLE err)
      if(NOT rc EQUAL 0)
        message(FATAL_ERROR "dpkg-deb -x ${deb}: ${err}")
      endif()
    endforeach()
    file(WRITE ${stamp} "${debs}")
  endif()
  set(hwy_missing "" PARENT_SCOPE)
endfunction()

hwy_unpack()
if(hwy_missing)
  list(JOIN hwy_programs " and " names)
  message(STATUS "Highway's arm64 packages cannot be used (${hwy_missing}): the tests of ${names} are skipped")
  foreach(name ${hwy_programs})
    foreach(mode runner client)
      add_test(NAME e2e_${mode}_${name}
               COMMAND sh -c "echo \"skipped: $1\"; exit 77" skip "${hwy_missing}")
      set_tests_properties(e2e_${mode}_${name} PROPERTIES SKIP_RETURN_CODE 77)
    endforeach()
  endforeach()
  return()
endif()

set(hwy_libdir ${hwy_root}/usr/lib/aarch64-linux-gnu)
foreach(name ${hwy_programs})
  add_executable(e2e_${name} ${name}.cc)
  set_target_properties(e2e_${name} PROPERTIES OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY ${e2e_dir}
                        BUILD_RPATH ${hwy_libdir})
  # SYSTEM: the warning options of the project (and -Werror) are for our
  # code, not Highway's headers.
  target_include_directories(e2e_${name} SYSTEM PRIVATE ${hwy_root}/usr/include)
  target_compile_options(e2e_${name} PRIVATE -O2 -march=armv8-a)
  target_link_libraries(e2e_${name} PRIVATE ${hwy_libdir}/libhwy_contrib.so ${hwy_libdir}/libhwy.so)
  # An old-style run path also serves libhwy_contrib's own need of libhwy.
  target_link_options(e2e_${name} PRIVATE -Wl,--disable-new-dtags)
  add_dependencies(e2e_${name} sve_run)
  foreach(mode runner client)
    add_test(NAME e2e_${mode}_${name} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/compare.sh ${mode} $<TARGET_FILE:e2e_${name}>)
    set_tests_properties(e2e_${mode}_${name} PROPERTIES ENVIRONMENT "${e2e_env};SVE_ALL_MODULES=1" SKIP_RETURN_CODE 77)
  endforeach()
endforeach()
