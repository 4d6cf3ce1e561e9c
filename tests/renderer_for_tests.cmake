# Read by ctest before it starts any test (a TEST_INCLUDE_FILES entry of the top directory):
# points EGL at Mesa's driver alone, so that every suite draws on llvmpipe, whose pixels the
# suites expect, on a machine with a GPU too. A hardware renderer decodes DXT1/DXT5 blocks
# with its own rounding: NVIDIA's differs from Mesa's by up to 7 levels on random blocks, and
# the suites that compare OpenGL's pixels with the CPU decoder's would fail there. An
# environment that already names the EGL drivers (__EGL_VENDOR_LIBRARY_FILENAMES, to run the
# suites on a GPU on purpose) is left as it is.
if(NOT DEFINED ENV{__EGL_VENDOR_LIBRARY_FILENAMES})
  file(GLOB mesa_vendor_files /usr/share/glvnd/egl_vendor.d/*mesa*.json /etc/glvnd/egl_vendor.d/*mesa*.json)
  if(mesa_vendor_files)
    list(GET mesa_vendor_files 0 mesa_vendor_file)
    set(ENV{__EGL_VENDOR_LIBRARY_FILENAMES} "${mesa_vendor_file}")
  endif()
endif()
