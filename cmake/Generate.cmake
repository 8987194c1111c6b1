# Container classes are generated from schema tables at build time. Each folder lists its
# schemas with refcntr_add_schemas(); refcntr_generate_all() then runs the generator once over
# every schema (a schema may name classes of another), writing one header and one source per
# schema under generated/refcntr/<folder>/. The generator rewrites a file only when its
# content changes, so an edit to one table recompiles only what that table produced.

set(REFCNTR_GENERATOR ${CMAKE_SOURCE_DIR}/codegen/generate.py)
# DCMTK's data dictionary gives the generated comments each attribute's VM; without it they
# go without.
file(GLOB REFCNTR_DCMTK_DICTIONARY /usr/share/libdcmtk*/dicom.dic /usr/share/dcmtk*/dicom.dic)
if(REFCNTR_DCMTK_DICTIONARY)
  list(SORT REFCNTR_DCMTK_DICTIONARY)
  list(GET REFCNTR_DCMTK_DICTIONARY -1 REFCNTR_DCMTK_DICTIONARY)
endif()
file(GLOB REFCNTR_GENERATOR_MODULES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/codegen/*.py)

function(refcntr_add_schemas)
  foreach(schema IN LISTS ARGN)
    get_filename_component(path ${schema} ABSOLUTE)
    set_property(GLOBAL APPEND PROPERTY REFCNTR_SCHEMAS ${path})
  endforeach()
endfunction()

function(refcntr_generate_all)
  get_property(schemas GLOBAL PROPERTY REFCNTR_SCHEMAS)
  if(NOT schemas)
    return()
  endif()
  set(outputs)
  set(sources)
  set(headers)
  foreach(schema IN LISTS schemas)
    file(RELATIVE_PATH relative ${CMAKE_SOURCE_DIR} ${schema})
    get_filename_component(folder ${relative} DIRECTORY)
    get_filename_component(name ${relative} NAME_WE)
    list(APPEND headers ${REFCNTR_GENERATED_ROOT}/refcntr/${folder}/${name}.h)
    list(APPEND sources ${REFCNTR_GENERATED_ROOT}/refcntr/${folder}/${name}.cpp)
  endforeach()
  set(class_list ${REFCNTR_GENERATED_ROOT}/refcntr/codegen/GeneratedClassList.h)
  set(all_containers ${REFCNTR_GENERATED_ROOT}/refcntr/codegen/Containers.h)
  set(stamp ${REFCNTR_GENERATED_ROOT}/generate.stamp)
  add_custom_command(
    OUTPUT ${stamp}
    BYPRODUCTS ${headers} ${sources} ${class_list} ${all_containers}
    COMMAND ${Python3_EXECUTABLE} ${REFCNTR_GENERATOR}
            --source-root ${CMAKE_SOURCE_DIR} --output-root ${REFCNTR_GENERATED_ROOT}
            --dictionary "${REFCNTR_DCMTK_DICTIONARY}" ${schemas}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${schemas} ${REFCNTR_GENERATOR_MODULES} ${REFCNTR_DCMTK_DICTIONARY}
    COMMENT "Generating container classes from ${CMAKE_SOURCE_DIR} schemas"
    VERBATIM)
  add_custom_target(refcntr_generated DEPENDS ${stamp})
  add_dependencies(refcntr refcntr_generated)
  set_source_files_properties(${headers} ${sources} ${class_list} ${all_containers} PROPERTIES GENERATED TRUE)
  target_sources(refcntr PRIVATE ${sources})
  set_property(GLOBAL PROPERTY REFCNTR_GENERATED_HEADERS ${headers} ${all_containers})
endfunction()
