# Debian packages of the installed parts, made by `cpack` in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME limes)
set(CPACK_PACKAGE_VENDOR limes)
set(CPACK_PACKAGE_CONTACT "limes maintainers <maintainers@limes.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)

set(library "liblimes${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblimes-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION})")
if(LIMES_HOST)
  list(APPEND CPACK_COMPONENTS_ALL recordings host)
  set(CPACK_DEBIAN_RECORDINGS_PACKAGE_NAME liblimes-recordings-dev)
  set(CPACK_DEBIAN_RECORDINGS_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_RECORDINGS_PACKAGE_DEPENDS
    "liblimes-dev (= ${PROJECT_VERSION}), pkgconf, libsndfile1-dev, libkissfft-dev, libcsv-dev")
  set(CPACK_DEBIAN_HOST_PACKAGE_NAME limes)
endif()
if(LIMES_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-limes)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11), python3-numpy")
endif()

# Licence, notices of others and the list of what is contained, in each package's folder of documents.
find_program(LIMES_PYTHON3 python3)
set(documents "")
if(LIMES_PYTHON3)
  set(documents "${PROJECT_BINARY_DIR}/limes.cdx.json" "${PROJECT_BINARY_DIR}/NOTICES")
  set(makes_sbom "${LIMES_PYTHON3}" "${PROJECT_SOURCE_DIR}/scripts/sbom")
  add_custom_command(OUTPUT ${documents}
    COMMAND ${makes_sbom} limes.cdx.json
    COMMAND ${makes_sbom} --notices NOTICES
    DEPENDS "${PROJECT_SOURCE_DIR}/scripts/sbom" "${PROJECT_SOURCE_DIR}/cmake/third_party.json"
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}" VERBATIM)
  add_custom_target(limes_sbom ALL DEPENDS ${documents})
endif()
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER "${component}" upper)
  set(folder "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSES/Apache-2.0.txt" RENAME copyright
    DESTINATION "${folder}" COMPONENT ${component})
  install(FILES ${documents} DESTINATION "${folder}" COMPONENT ${component})
endforeach()

include(CPack)
