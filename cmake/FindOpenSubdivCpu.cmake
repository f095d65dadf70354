# The CPU part of OpenSubdiv, from 3.5 on: target OpenSubdivCpu. What distributions install for CMake names static
# libraries, too, which they do not have.
find_path(OpenSubdivCpu_INCLUDE_DIR opensubdiv/bfr/surface.h)
find_library(OpenSubdivCpu_LIBRARY osdCPU)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenSubdivCpu REQUIRED_VARS OpenSubdivCpu_LIBRARY OpenSubdivCpu_INCLUDE_DIR)
if(OpenSubdivCpu_FOUND AND NOT TARGET OpenSubdivCpu)
    add_library(OpenSubdivCpu UNKNOWN IMPORTED)
    set_target_properties(OpenSubdivCpu PROPERTIES IMPORTED_LOCATION "${OpenSubdivCpu_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${OpenSubdivCpu_INCLUDE_DIR}")
endif()
