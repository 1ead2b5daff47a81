# Target MontageOpenCV: the OpenCV 4.6 modules the library calls, and no others.
#
# OpenCV's own CMake package is used where it is complete. Debian ships it only in libopencv-dev,
# which pulls every module with GDAL and VTK; with just libopencv-stitching-dev installed the headers
# and libraries are found directly.
set(MONTAGE_OPENCV_MODULES core imgproc imgcodecs features2d flann calib3d stitching)

find_package(OpenCV 4.6 QUIET CONFIG COMPONENTS ${MONTAGE_OPENCV_MODULES})
add_library(MontageOpenCV INTERFACE)
if(OpenCV_FOUND)
  target_include_directories(MontageOpenCV SYSTEM INTERFACE ${OpenCV_INCLUDE_DIRS})
  target_link_libraries(MontageOpenCV INTERFACE ${OpenCV_LIBS})
else()
  find_path(MONTAGE_OPENCV_INCLUDE_DIR opencv2/stitching.hpp PATH_SUFFIXES opencv4 REQUIRED)
  mark_as_advanced(MONTAGE_OPENCV_INCLUDE_DIR)
  target_include_directories(MontageOpenCV SYSTEM INTERFACE ${MONTAGE_OPENCV_INCLUDE_DIR})
  foreach(module IN LISTS MONTAGE_OPENCV_MODULES)
    find_library(MONTAGE_OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
    mark_as_advanced(MONTAGE_OPENCV_${module}_LIBRARY)
    target_link_libraries(MontageOpenCV INTERFACE ${MONTAGE_OPENCV_${module}_LIBRARY})
  endforeach()
endif()
