# Finds CImg, an image library that is one header, and offers it as CImg::CImg.
#
#   REMORA_CIMG_INCLUDE_DIR   the folder of CImg.h, where it is not found by itself
find_path(REMORA_CIMG_INCLUDE_DIR CImg.h)
mark_as_advanced(REMORA_CIMG_INCLUDE_DIR)

if(REMORA_CIMG_INCLUDE_DIR)
  file(STRINGS ${REMORA_CIMG_INCLUDE_DIR}/CImg.h cimg_version
    REGEX "^#define cimg_version [0-9]+$" LIMIT_COUNT 1)
  string(REGEX REPLACE ".* ([0-9])([0-9])([0-9])$" "\\1.\\2.\\3" CImg_VERSION "${cimg_version}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CImg
  REQUIRED_VARS REMORA_CIMG_INCLUDE_DIR
  VERSION_VAR CImg_VERSION
  REASON_FAILURE_MESSAGE "install cimg-dev, or name the folder of CImg.h in REMORA_CIMG_INCLUDE_DIR")

if(CImg_FOUND AND NOT TARGET CImg::CImg)
  add_library(CImg::CImg INTERFACE IMPORTED)
  set_target_properties(CImg::CImg PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${REMORA_CIMG_INCLUDE_DIR})
endif()
