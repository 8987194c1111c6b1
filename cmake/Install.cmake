include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS refcntr EXPORT refcntrTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(FILES ${CMAKE_SOURCE_DIR}/refcntr.h ${REFCNTR_GENERATED_ROOT}/refcntr/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/refcntr)
# Headers that only the library's own sources include (the DCMTK bridge, the encoder and
# decoder, the attribute readers behind the generated code) stay out of the install.
set(REFCNTR_INTERNAL_HEADERS AttributeDump.h AttributeReader.h AttributeWriter.h RecordLayout.h RecordLinks.h
    AtomicFile.h ByteOrder.h DataSetDecoder.h DataSetEncoder.h DcmtkBridge.h DcmtkLogCapture.h DcmtkVR.h
    DictionaryVRConversion.h LengthField.h ReadNotes.h StructureScan.h)
set(internal_patterns)
foreach(header IN LISTS REFCNTR_INTERNAL_HEADERS)
  list(APPEND internal_patterns PATTERN ${header} EXCLUDE)
endforeach()
foreach(folder platform core notify macros general presentation directory factory)
  install(DIRECTORY ${CMAKE_SOURCE_DIR}/${folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/refcntr/${folder}
          FILES_MATCHING PATTERN "*.h" ${internal_patterns})
endforeach()
get_property(generated_headers GLOBAL PROPERTY REFCNTR_GENERATED_HEADERS)
foreach(header IN LISTS generated_headers)
  file(RELATIVE_PATH relative ${REFCNTR_GENERATED_ROOT}/refcntr ${header})
  get_filename_component(folder ${relative} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/refcntr/${folder})
endforeach()

install(EXPORT refcntrTargets NAMESPACE refcntr:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/refcntr)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/refcntrConfig.cmake.in
  ${CMAKE_BINARY_DIR}/refcntrConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/refcntr)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/refcntrConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/refcntrConfig.cmake ${CMAKE_BINARY_DIR}/refcntrConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/refcntr)

# pkg-config: refcntr.pc finds the prefix from its own place, so it is right for any --prefix. It
# is written when installing, when the prefix is known: outside the loader's system directories
# its Libs carry an rpath.
file(RELATIVE_PATH REFCNTR_PC_PREFIX_FROM_PCDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" REFCNTR_PC_PREFIX_FROM_PCDIR "${REFCNTR_PC_PREFIX_FROM_PCDIR}")
set(REFCNTR_PC_RPATH "@REFCNTR_PC_RPATH@")
configure_file(${CMAKE_SOURCE_DIR}/cmake/refcntr.pc.in ${CMAKE_BINARY_DIR}/refcntr.pc.in @ONLY)
install(CODE "set(REFCNTR_PC_TEMPLATE \"${CMAKE_BINARY_DIR}/refcntr.pc.in\")
set(REFCNTR_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
set(REFCNTR_LIBRARY_ARCHITECTURE \"${CMAKE_LIBRARY_ARCHITECTURE}\")")
install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/InstallPkgConfig.cmake)

# The tool's manual page and the sample it is shown with.
install(FILES ${CMAKE_SOURCE_DIR}/docs/refcntr.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_BINARY_DIR}/samples/grayscale-presentation-state.dcm DESTINATION ${CMAKE_INSTALL_DATADIR}/refcntr)
