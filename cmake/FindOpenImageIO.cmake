# OpenImageIO by its header and its libraries: the CMake files that come with it also insist on its command-line programs,
# which are a package of their own.
find_package(Imath QUIET)
find_path(OPENIMAGEIO_INCLUDE OpenImageIO/imageio.h)
find_library(OPENIMAGEIO_LIBRARY OpenImageIO)
find_library(OPENIMAGEIO_UTIL_LIBRARY OpenImageIO_Util)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenImageIO
    REQUIRED_VARS OPENIMAGEIO_INCLUDE OPENIMAGEIO_LIBRARY OPENIMAGEIO_UTIL_LIBRARY Imath_FOUND)

if(OpenImageIO_FOUND AND NOT TARGET OpenImageIO::OpenImageIO)
    add_library(OpenImageIO::OpenImageIO INTERFACE IMPORTED GLOBAL)
    target_include_directories(OpenImageIO::OpenImageIO INTERFACE ${OPENIMAGEIO_INCLUDE})
    target_link_libraries(OpenImageIO::OpenImageIO
        INTERFACE ${OPENIMAGEIO_LIBRARY} ${OPENIMAGEIO_UTIL_LIBRARY} Imath::Imath)
    # Its helpers alone, which need next to nothing.
    add_library(OpenImageIO::OpenImageIO_Util INTERFACE IMPORTED GLOBAL)
    target_include_directories(OpenImageIO::OpenImageIO_Util INTERFACE ${OPENIMAGEIO_INCLUDE})
    target_link_libraries(OpenImageIO::OpenImageIO_Util INTERFACE ${OPENIMAGEIO_UTIL_LIBRARY} Imath::Imath)
endif()
