# The install test, run with cmake -P: installs the build tree into a fresh prefix, checks what
# landed there, then builds the consumer project against it twice (find_package, and plain
# compiler flags from pkg-config) and runs both builds on the sample.
#
#   -DBUILD_DIR=  the refcntr build tree        -DPREFIX=       the install prefix to create
#   -DSOURCE_DIR= this folder                   -DWORK_DIR=     scratch for the consumer builds
#   -DSAMPLE=     the sample presentation state -DCXX=          the C++ compiler
#   -DLAUNCHER=   the compiler launcher or ""   -DLINK_FLAGS=   linker flags (the sanitizers)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${code}): ${command}\n${out}${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${PREFIX} ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})

# The library with its version links, every header (hand-written and generated), the CMake
# package files and the pkg-config file.
file(GLOB_RECURSE libraries ${PREFIX}/lib*/librefcntr.so*)
file(GLOB_RECURSE package_files ${PREFIX}/lib*/cmake/refcntr/*.cmake)
file(GLOB_RECURSE pc_files ${PREFIX}/lib*/pkgconfig/refcntr.pc)
list(LENGTH libraries library_count)
list(LENGTH package_files package_file_count)
if(NOT library_count EQUAL 3 OR package_file_count LESS 4 OR NOT pc_files)
  message(FATAL_ERROR "incomplete install in ${PREFIX}: ${libraries} ${package_files} ${pc_files}")
endif()
foreach(header refcntr.h Version.h factory/CompositeIODFactory.h core/PSChangeHandler.h notify/ReferencedImageSequence.h platform/DicomFile.h
               codegen/Containers.h presentation/PresentationStateIODs.h directory/DirectoryRecords.h
               directory/DirectoryFile.h)
  if(NOT EXISTS ${PREFIX}/include/refcntr/${header})
    message(FATAL_ERROR "not installed: include/refcntr/${header}")
  endif()
endforeach()
foreach(internal platform/DcmtkBridge.h platform/DcmtkVR.h core/AttributeReader.h)
  if(EXISTS ${PREFIX}/include/refcntr/${internal})
    message(FATAL_ERROR "an internal header is installed: include/refcntr/${internal}")
  endif()
endforeach()

foreach(shared share/man/man1/refcntr.1 share/refcntr/grayscale-presentation-state.dcm)
  if(NOT EXISTS ${PREFIX}/${shared})
    message(FATAL_ERROR "not installed: ${shared}")
  endif()
endforeach()

set(expected "itsContentLabelElement = \"CHEST_REVIEW\"\n")

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake)
run(env -i ${WORK_DIR}/cmake/consumer ${SAMPLE})
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the consumer built with find_package printed '${output}', not '${expected}'")
endif()

get_filename_component(pc_dir ${pc_files} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(pkg-config --cflags --libs refcntr)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(link_flags UNIX_COMMAND "${LINK_FLAGS}")
run(${LAUNCHER} ${CXX} -std=c++17 ${SOURCE_DIR}/consumer.cpp ${flags} ${link_flags} -o ${WORK_DIR}/consumer-pkg-config)
# Both consumers and the installed tool run with a clean environment: nothing on the loader path.
run(env -i ${WORK_DIR}/consumer-pkg-config ${SAMPLE})
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the consumer built with pkg-config printed '${output}', not '${expected}'")
endif()
run(env -i ${PREFIX}/bin/refcntr dump ${SAMPLE})
if(NOT output MATCHES "itsContentLabelElement = \"CHEST_REVIEW\"")
  message(FATAL_ERROR "the installed refcntr printed '${output}'")
endif()
message(STATUS "installed to ${PREFIX}; the consumer builds with find_package and with pkg-config; refcntr runs")
