# Tells CPack how to make the Debian package from the folder that scripts/package.sh has filled. Its
# Installed-Size includes the sizes of folders, which depend on the kind of file system. So another kind
# can give another package.
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
set(CPACK_GENERATOR DEB)
set(CPACK_INSTALLED_DIRECTORIES "${source}/build/release/package" usr)
set(CPACK_PACKAGE_DIRECTORY "${source}/build/release")
set(CPACK_PACKAGE_NAME planeshow)
set(CPACK_PACKAGE_FILE_NAME planeshow)
set(CPACK_PACKAGE_CONTACT "the planeshow maintainers")
file(READ "${source}/packaging/description" CPACK_PACKAGE_DESCRIPTION)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
