// The lists the extension loader is generated from: the extension flags in field order, and
// one list per entry-point group in lookup order. GLExtensions expands them into its fields and its Init...
// functions, so the record's layout and the loader cannot drift apart. Each entry is X(flag) or X(function
// type, name).
#pragma once

// The 94 flags, in the order they stand in GLExtensions. Each is looked up as "GL_" followed by
// its name, except ARB_texture_compression, which InitARBTextureCompression decides.
#define QZKT_GL_EXTENSION_FLAGS(X)                                                                           \
    X(ARB_imaging)                                                                                           \
    X(ARB_depth_texture)                                                                                     \
    X(ARB_fragment_program)                                                                                  \
    X(ARB_fragment_shader)                                                                                   \
    X(ARB_matrix_palette)                                                                                    \
    X(ARB_multisample)                                                                                       \
    X(ARB_multitexture)                                                                                      \
    X(ARB_point_parameters)                                                                                  \
    X(ARB_shader_objects)                                                                                    \
    X(ARB_shadow)                                                                                            \
    X(ARB_shadow_ambient)                                                                                    \
    X(ARB_texture_border_clamp)                                                                              \
    X(ARB_texture_compression)                                                                               \
    X(ARB_texture_cube_map)                                                                                  \
    X(ARB_texture_env_add)                                                                                   \
    X(ARB_texture_env_dot3)                                                                                  \
    X(ARB_texture_env_combine)                                                                               \
    X(ARB_texture_env_crossbar)                                                                              \
    X(ARB_texture_mirrored_repeat)                                                                           \
    X(ARB_texture_non_power_of_two)                                                                          \
    X(ARB_texture_rectangle)                                                                                 \
    X(ARB_transpose_matrix)                                                                                  \
    X(ARB_vertex_blend)                                                                                      \
    X(ARB_vertex_program)                                                                                    \
    X(ARB_vertex_shader)                                                                                     \
    X(ARB_vertex_buffer_object)                                                                              \
    X(ARB_window_pos)                                                                                        \
    X(EXT_abgr)                                                                                              \
    X(EXT_bgra)                                                                                              \
    X(EXT_blend_func_separate)                                                                               \
    X(EXT_compiled_vertex_array)                                                                             \
    X(EXT_cull_vertex)                                                                                       \
    X(EXT_fog_coord)                                                                                         \
    X(EXT_framebuffer_object)                                                                                \
    X(EXT_multi_draw_arrays)                                                                                 \
    X(EXT_point_parameters)                                                                                  \
    X(EXT_secondary_color)                                                                                   \
    X(EXT_separate_specular_color)                                                                           \
    X(EXT_shadow_funcs)                                                                                      \
    X(EXT_stencil_two_side)                                                                                  \
    X(EXT_stencil_wrap)                                                                                      \
    X(EXT_texture_compression_s3tc)                                                                          \
    X(EXT_texture_env_combine)                                                                               \
    X(EXT_texture_filter_anisotropic)                                                                        \
    X(EXT_texture_lod_bias)                                                                                  \
    X(EXT_texture_rectangle)                                                                                 \
    X(EXT_vertex_shader)                                                                                     \
    X(EXT_vertex_weighting)                                                                                  \
    X(EXT_draw_range_elements)                                                                               \
    X(ATI_element_array)                                                                                     \
    X(ATI_envmap_bumpmap)                                                                                    \
    X(ATI_fragment_shader)                                                                                   \
    X(ATI_pn_triangles)                                                                                      \
    X(ATI_point_cull_mode)                                                                                   \
    X(ATI_text_fragment_shader)                                                                              \
    X(ATI_texture_mirror_once)                                                                               \
    X(ATI_texture_float)                                                                                     \
    X(ATI_vertex_array_object)                                                                               \
    X(ATI_vertex_streams)                                                                                    \
    X(ATIX_point_sprites)                                                                                    \
    X(ATIX_texture_env_route)                                                                                \
    X(HP_occlusion_test)                                                                                     \
    X(NV_blend_square)                                                                                       \
    X(NV_copy_depth_to_color)                                                                                \
    X(NV_depth_clamp)                                                                                        \
    X(NV_element_array)                                                                                      \
    X(NV_evaluators)                                                                                         \
    X(NV_fence)                                                                                              \
    X(NV_float_buffer)                                                                                       \
    X(NV_fog_distance)                                                                                       \
    X(NV_fragment_program)                                                                                   \
    X(NV_light_max_exponent)                                                                                 \
    X(NV_occlusion_query)                                                                                    \
    X(NV_packed_depth_stencil)                                                                               \
    X(NV_pixel_data_range)                                                                                   \
    X(NV_point_sprite)                                                                                       \
    X(NV_primitive_restart)                                                                                  \
    X(NV_register_combiners)                                                                                 \
    X(NV_register_combiners2)                                                                                \
    X(NV_texgen_reflection)                                                                                  \
    X(NV_texture_env_combine4)                                                                               \
    X(NV_texture_rectangle)                                                                                  \
    X(NV_texture_shader)                                                                                     \
    X(NV_texture_shader2)                                                                                    \
    X(NV_texture_shader3)                                                                                    \
    X(NV_vertex_array_range)                                                                                 \
    X(NV_vertex_array_range2)                                                                                \
    X(NV_vertex_program)                                                                                     \
    X(NV_vertex_program1_1)                                                                                  \
    X(NV_vertex_program2)                                                                                    \
    X(SGIS_generate_mipmap)                                                                                  \
    X(SGIS_texture_lod)                                                                                      \
    X(SGIX_shadow)                                                                                           \
    X(SGIX_depth_texture)

// Multitexture (34), guarded by ARB_multitexture.
#define QZKT_GL_MULTITEXTURE_ENTRY_POINTS(X)                                                                 \
    X(PFNGLACTIVETEXTUREARBPROC, glActiveTextureARB)                                                         \
    X(PFNGLCLIENTACTIVETEXTUREARBPROC, glClientActiveTextureARB)                                             \
    X(PFNGLMULTITEXCOORD1DARBPROC, glMultiTexCoord1dARB)                                                     \
    X(PFNGLMULTITEXCOORD1DVARBPROC, glMultiTexCoord1dvARB)                                                   \
    X(PFNGLMULTITEXCOORD1FARBPROC, glMultiTexCoord1fARB)                                                     \
    X(PFNGLMULTITEXCOORD1FVARBPROC, glMultiTexCoord1fvARB)                                                   \
    X(PFNGLMULTITEXCOORD1IARBPROC, glMultiTexCoord1iARB)                                                     \
    X(PFNGLMULTITEXCOORD1IVARBPROC, glMultiTexCoord1ivARB)                                                   \
    X(PFNGLMULTITEXCOORD1SARBPROC, glMultiTexCoord1sARB)                                                     \
    X(PFNGLMULTITEXCOORD1SVARBPROC, glMultiTexCoord1svARB)                                                   \
    X(PFNGLMULTITEXCOORD2DARBPROC, glMultiTexCoord2dARB)                                                     \
    X(PFNGLMULTITEXCOORD2DVARBPROC, glMultiTexCoord2dvARB)                                                   \
    X(PFNGLMULTITEXCOORD2FARBPROC, glMultiTexCoord2fARB)                                                     \
    X(PFNGLMULTITEXCOORD2FVARBPROC, glMultiTexCoord2fvARB)                                                   \
    X(PFNGLMULTITEXCOORD2IARBPROC, glMultiTexCoord2iARB)                                                     \
    X(PFNGLMULTITEXCOORD2IVARBPROC, glMultiTexCoord2ivARB)                                                   \
    X(PFNGLMULTITEXCOORD2SARBPROC, glMultiTexCoord2sARB)                                                     \
    X(PFNGLMULTITEXCOORD2SVARBPROC, glMultiTexCoord2svARB)                                                   \
    X(PFNGLMULTITEXCOORD3DARBPROC, glMultiTexCoord3dARB)                                                     \
    X(PFNGLMULTITEXCOORD3DVARBPROC, glMultiTexCoord3dvARB)                                                   \
    X(PFNGLMULTITEXCOORD3FARBPROC, glMultiTexCoord3fARB)                                                     \
    X(PFNGLMULTITEXCOORD3FVARBPROC, glMultiTexCoord3fvARB)                                                   \
    X(PFNGLMULTITEXCOORD3IARBPROC, glMultiTexCoord3iARB)                                                     \
    X(PFNGLMULTITEXCOORD3IVARBPROC, glMultiTexCoord3ivARB)                                                   \
    X(PFNGLMULTITEXCOORD3SARBPROC, glMultiTexCoord3sARB)                                                     \
    X(PFNGLMULTITEXCOORD3SVARBPROC, glMultiTexCoord3svARB)                                                   \
    X(PFNGLMULTITEXCOORD4DARBPROC, glMultiTexCoord4dARB)                                                     \
    X(PFNGLMULTITEXCOORD4DVARBPROC, glMultiTexCoord4dvARB)                                                   \
    X(PFNGLMULTITEXCOORD4FARBPROC, glMultiTexCoord4fARB)                                                     \
    X(PFNGLMULTITEXCOORD4FVARBPROC, glMultiTexCoord4fvARB)                                                   \
    X(PFNGLMULTITEXCOORD4IARBPROC, glMultiTexCoord4iARB)                                                     \
    X(PFNGLMULTITEXCOORD4IVARBPROC, glMultiTexCoord4ivARB)                                                   \
    X(PFNGLMULTITEXCOORD4SARBPROC, glMultiTexCoord4sARB)                                                     \
    X(PFNGLMULTITEXCOORD4SVARBPROC, glMultiTexCoord4svARB)

// Texture compression (7): the core names without a suffix, loaded all or nothing.
#define QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(X)                                                          \
    X(PFNGLCOMPRESSEDTEXIMAGE1DPROC, glCompressedTexImage1D)                                                 \
    X(PFNGLCOMPRESSEDTEXIMAGE2DPROC, glCompressedTexImage2D)                                                 \
    X(PFNGLCOMPRESSEDTEXIMAGE3DPROC, glCompressedTexImage3D)                                                 \
    X(PFNGLCOMPRESSEDTEXSUBIMAGE1DPROC, glCompressedTexSubImage1D)                                           \
    X(PFNGLCOMPRESSEDTEXSUBIMAGE2DPROC, glCompressedTexSubImage2D)                                           \
    X(PFNGLCOMPRESSEDTEXSUBIMAGE3DPROC, glCompressedTexSubImage3D)                                           \
    X(PFNGLGETCOMPRESSEDTEXIMAGEPROC, glGetCompressedTexImage)

// Vertex program (62), guarded by ARB_vertex_program.
#define QZKT_GL_VERTEX_PROGRAM_ENTRY_POINTS(X)                                                               \
    X(PFNGLVERTEXATTRIB1SARBPROC, glVertexAttrib1sARB)                                                       \
    X(PFNGLVERTEXATTRIB1FARBPROC, glVertexAttrib1fARB)                                                       \
    X(PFNGLVERTEXATTRIB1DARBPROC, glVertexAttrib1dARB)                                                       \
    X(PFNGLVERTEXATTRIB2SARBPROC, glVertexAttrib2sARB)                                                       \
    X(PFNGLVERTEXATTRIB2FARBPROC, glVertexAttrib2fARB)                                                       \
    X(PFNGLVERTEXATTRIB2DARBPROC, glVertexAttrib2dARB)                                                       \
    X(PFNGLVERTEXATTRIB3SARBPROC, glVertexAttrib3sARB)                                                       \
    X(PFNGLVERTEXATTRIB3FARBPROC, glVertexAttrib3fARB)                                                       \
    X(PFNGLVERTEXATTRIB3DARBPROC, glVertexAttrib3dARB)                                                       \
    X(PFNGLVERTEXATTRIB4SARBPROC, glVertexAttrib4sARB)                                                       \
    X(PFNGLVERTEXATTRIB4FARBPROC, glVertexAttrib4fARB)                                                       \
    X(PFNGLVERTEXATTRIB4DARBPROC, glVertexAttrib4dARB)                                                       \
    X(PFNGLVERTEXATTRIB4NUBARBPROC, glVertexAttrib4NubARB)                                                   \
    X(PFNGLVERTEXATTRIB1SVARBPROC, glVertexAttrib1svARB)                                                     \
    X(PFNGLVERTEXATTRIB1FVARBPROC, glVertexAttrib1fvARB)                                                     \
    X(PFNGLVERTEXATTRIB1DVARBPROC, glVertexAttrib1dvARB)                                                     \
    X(PFNGLVERTEXATTRIB2SVARBPROC, glVertexAttrib2svARB)                                                     \
    X(PFNGLVERTEXATTRIB2FVARBPROC, glVertexAttrib2fvARB)                                                     \
    X(PFNGLVERTEXATTRIB2DVARBPROC, glVertexAttrib2dvARB)                                                     \
    X(PFNGLVERTEXATTRIB3SVARBPROC, glVertexAttrib3svARB)                                                     \
    X(PFNGLVERTEXATTRIB3FVARBPROC, glVertexAttrib3fvARB)                                                     \
    X(PFNGLVERTEXATTRIB3DVARBPROC, glVertexAttrib3dvARB)                                                     \
    X(PFNGLVERTEXATTRIB4BVARBPROC, glVertexAttrib4bvARB)                                                     \
    X(PFNGLVERTEXATTRIB4SVARBPROC, glVertexAttrib4svARB)                                                     \
    X(PFNGLVERTEXATTRIB4IVARBPROC, glVertexAttrib4ivARB)                                                     \
    X(PFNGLVERTEXATTRIB4UBVARBPROC, glVertexAttrib4ubvARB)                                                   \
    X(PFNGLVERTEXATTRIB4USVARBPROC, glVertexAttrib4usvARB)                                                   \
    X(PFNGLVERTEXATTRIB4UIVARBPROC, glVertexAttrib4uivARB)                                                   \
    X(PFNGLVERTEXATTRIB4FVARBPROC, glVertexAttrib4fvARB)                                                     \
    X(PFNGLVERTEXATTRIB4DVARBPROC, glVertexAttrib4dvARB)                                                     \
    X(PFNGLVERTEXATTRIB4NBVARBPROC, glVertexAttrib4NbvARB)                                                   \
    X(PFNGLVERTEXATTRIB4NSVARBPROC, glVertexAttrib4NsvARB)                                                   \
    X(PFNGLVERTEXATTRIB4NIVARBPROC, glVertexAttrib4NivARB)                                                   \
    X(PFNGLVERTEXATTRIB4NUBVARBPROC, glVertexAttrib4NubvARB)                                                 \
    X(PFNGLVERTEXATTRIB4NUSVARBPROC, glVertexAttrib4NusvARB)                                                 \
    X(PFNGLVERTEXATTRIB4NUIVARBPROC, glVertexAttrib4NuivARB)                                                 \
    X(PFNGLVERTEXATTRIBPOINTERARBPROC, glVertexAttribPointerARB)                                             \
    X(PFNGLENABLEVERTEXATTRIBARRAYARBPROC, glEnableVertexAttribArrayARB)                                     \
    X(PFNGLDISABLEVERTEXATTRIBARRAYARBPROC, glDisableVertexAttribArrayARB)                                   \
    X(PFNGLPROGRAMSTRINGARBPROC, glProgramStringARB)                                                         \
    X(PFNGLBINDPROGRAMARBPROC, glBindProgramARB)                                                             \
    X(PFNGLDELETEPROGRAMSARBPROC, glDeleteProgramsARB)                                                       \
    X(PFNGLGENPROGRAMSARBPROC, glGenProgramsARB)                                                             \
    X(PFNGLPROGRAMENVPARAMETER4DARBPROC, glProgramEnvParameter4dARB)                                         \
    X(PFNGLPROGRAMENVPARAMETER4DVARBPROC, glProgramEnvParameter4dvARB)                                       \
    X(PFNGLPROGRAMENVPARAMETER4FARBPROC, glProgramEnvParameter4fARB)                                         \
    X(PFNGLPROGRAMENVPARAMETER4FVARBPROC, glProgramEnvParameter4fvARB)                                       \
    X(PFNGLPROGRAMLOCALPARAMETER4DARBPROC, glProgramLocalParameter4dARB)                                     \
    X(PFNGLPROGRAMLOCALPARAMETER4DVARBPROC, glProgramLocalParameter4dvARB)                                   \
    X(PFNGLPROGRAMLOCALPARAMETER4FARBPROC, glProgramLocalParameter4fARB)                                     \
    X(PFNGLPROGRAMLOCALPARAMETER4FVARBPROC, glProgramLocalParameter4fvARB)                                   \
    X(PFNGLGETPROGRAMENVPARAMETERDVARBPROC, glGetProgramEnvParameterdvARB)                                   \
    X(PFNGLGETPROGRAMENVPARAMETERFVARBPROC, glGetProgramEnvParameterfvARB)                                   \
    X(PFNGLGETPROGRAMLOCALPARAMETERDVARBPROC, glGetProgramLocalParameterdvARB)                               \
    X(PFNGLGETPROGRAMLOCALPARAMETERFVARBPROC, glGetProgramLocalParameterfvARB)                               \
    X(PFNGLGETPROGRAMIVARBPROC, glGetProgramivARB)                                                           \
    X(PFNGLGETPROGRAMSTRINGARBPROC, glGetProgramStringARB)                                                   \
    X(PFNGLGETVERTEXATTRIBDVARBPROC, glGetVertexAttribdvARB)                                                 \
    X(PFNGLGETVERTEXATTRIBFVARBPROC, glGetVertexAttribfvARB)                                                 \
    X(PFNGLGETVERTEXATTRIBIVARBPROC, glGetVertexAttribivARB)                                                 \
    X(PFNGLGETVERTEXATTRIBPOINTERVARBPROC, glGetVertexAttribPointervARB)                                     \
    X(PFNGLISPROGRAMARBPROC, glIsProgramARB)

// Imaging (34), guarded by ARB_imaging. GL/gl.h declares these functions itself, which hides
// glext.h's pointer types for them, so the types are taken from the declarations.
#define QZKT_GL_IMAGING_ENTRY_POINTS(X)                                                                      \
    X(decltype(&::glBlendColor), glBlendColor)                                                               \
    X(decltype(&::glBlendEquation), glBlendEquation)                                                         \
    X(decltype(&::glColorTable), glColorTable)                                                               \
    X(decltype(&::glColorTableParameterfv), glColorTableParameterfv)                                         \
    X(decltype(&::glColorTableParameteriv), glColorTableParameteriv)                                         \
    X(decltype(&::glCopyColorTable), glCopyColorTable)                                                       \
    X(decltype(&::glGetColorTable), glGetColorTable)                                                         \
    X(decltype(&::glGetColorTableParameterfv), glGetColorTableParameterfv)                                   \
    X(decltype(&::glGetColorTableParameteriv), glGetColorTableParameteriv)                                   \
    X(decltype(&::glColorSubTable), glColorSubTable)                                                         \
    X(decltype(&::glCopyColorSubTable), glCopyColorSubTable)                                                 \
    X(decltype(&::glConvolutionFilter1D), glConvolutionFilter1D)                                             \
    X(decltype(&::glConvolutionFilter2D), glConvolutionFilter2D)                                             \
    X(decltype(&::glConvolutionParameterf), glConvolutionParameterf)                                         \
    X(decltype(&::glConvolutionParameterfv), glConvolutionParameterfv)                                       \
    X(decltype(&::glConvolutionParameteri), glConvolutionParameteri)                                         \
    X(decltype(&::glConvolutionParameteriv), glConvolutionParameteriv)                                       \
    X(decltype(&::glCopyConvolutionFilter1D), glCopyConvolutionFilter1D)                                     \
    X(decltype(&::glCopyConvolutionFilter2D), glCopyConvolutionFilter2D)                                     \
    X(decltype(&::glGetConvolutionFilter), glGetConvolutionFilter)                                           \
    X(decltype(&::glGetConvolutionParameterfv), glGetConvolutionParameterfv)                                 \
    X(decltype(&::glGetConvolutionParameteriv), glGetConvolutionParameteriv)                                 \
    X(decltype(&::glGetSeparableFilter), glGetSeparableFilter)                                               \
    X(decltype(&::glSeparableFilter2D), glSeparableFilter2D)                                                 \
    X(decltype(&::glGetHistogram), glGetHistogram)                                                           \
    X(decltype(&::glGetHistogramParameterfv), glGetHistogramParameterfv)                                     \
    X(decltype(&::glGetHistogramParameteriv), glGetHistogramParameteriv)                                     \
    X(decltype(&::glGetMinmax), glGetMinmax)                                                                 \
    X(decltype(&::glGetMinmaxParameterfv), glGetMinmaxParameterfv)                                           \
    X(decltype(&::glGetMinmaxParameteriv), glGetMinmaxParameteriv)                                           \
    X(decltype(&::glHistogram), glHistogram)                                                                 \
    X(decltype(&::glMinmax), glMinmax)                                                                       \
    X(decltype(&::glResetHistogram), glResetHistogram)                                                       \
    X(decltype(&::glResetMinmax), glResetMinmax)

// Vertex buffer object (11), guarded by ARB_vertex_buffer_object.
#define QZKT_GL_VERTEX_BUFFER_OBJECT_ENTRY_POINTS(X)                                                         \
    X(PFNGLBINDBUFFERARBPROC, glBindBufferARB)                                                               \
    X(PFNGLDELETEBUFFERSARBPROC, glDeleteBuffersARB)                                                         \
    X(PFNGLGENBUFFERSARBPROC, glGenBuffersARB)                                                               \
    X(PFNGLISBUFFERARBPROC, glIsBufferARB)                                                                   \
    X(PFNGLBUFFERDATAARBPROC, glBufferDataARB)                                                               \
    X(PFNGLBUFFERSUBDATAARBPROC, glBufferSubDataARB)                                                         \
    X(PFNGLGETBUFFERSUBDATAARBPROC, glGetBufferSubDataARB)                                                   \
    X(PFNGLMAPBUFFERARBPROC, glMapBufferARB)                                                                 \
    X(PFNGLUNMAPBUFFERARBPROC, glUnmapBufferARB)                                                             \
    X(PFNGLGETBUFFERPARAMETERIVARBPROC, glGetBufferParameterivARB)                                           \
    X(PFNGLGETBUFFERPOINTERVARBPROC, glGetBufferPointervARB)

// Blend func separate (1), guarded by EXT_blend_func_separate.
#define QZKT_GL_BLEND_FUNC_SEPARATE_ENTRY_POINTS(X) X(PFNGLBLENDFUNCSEPARATEEXTPROC, glBlendFuncSeparateEXT)

// Vertex weighting (3), guarded by EXT_vertex_weighting.
#define QZKT_GL_VERTEX_WEIGHTING_ENTRY_POINTS(X)                                                             \
    X(PFNGLVERTEXWEIGHTFEXTPROC, glVertexWeightfEXT)                                                         \
    X(PFNGLVERTEXWEIGHTFVEXTPROC, glVertexWeightfvEXT)                                                       \
    X(PFNGLVERTEXWEIGHTPOINTEREXTPROC, glVertexWeightPointerEXT)

// Register combiners (13), guarded by NV_register_combiners.
#define QZKT_GL_REGISTER_COMBINERS_ENTRY_POINTS(X)                                                           \
    X(PFNGLCOMBINERPARAMETERFVNVPROC, glCombinerParameterfvNV)                                               \
    X(PFNGLCOMBINERPARAMETERFNVPROC, glCombinerParameterfNV)                                                 \
    X(PFNGLCOMBINERPARAMETERIVNVPROC, glCombinerParameterivNV)                                               \
    X(PFNGLCOMBINERPARAMETERINVPROC, glCombinerParameteriNV)                                                 \
    X(PFNGLCOMBINERINPUTNVPROC, glCombinerInputNV)                                                           \
    X(PFNGLCOMBINEROUTPUTNVPROC, glCombinerOutputNV)                                                         \
    X(PFNGLFINALCOMBINERINPUTNVPROC, glFinalCombinerInputNV)                                                 \
    X(PFNGLGETCOMBINERINPUTPARAMETERFVNVPROC, glGetCombinerInputParameterfvNV)                               \
    X(PFNGLGETCOMBINERINPUTPARAMETERIVNVPROC, glGetCombinerInputParameterivNV)                               \
    X(PFNGLGETCOMBINEROUTPUTPARAMETERFVNVPROC, glGetCombinerOutputParameterfvNV)                             \
    X(PFNGLGETCOMBINEROUTPUTPARAMETERIVNVPROC, glGetCombinerOutputParameterivNV)                             \
    X(PFNGLGETFINALCOMBINERINPUTPARAMETERFVNVPROC, glGetFinalCombinerInputParameterfvNV)                     \
    X(PFNGLGETFINALCOMBINERINPUTPARAMETERIVNVPROC, glGetFinalCombinerInputParameterivNV)

// Pixel data range (2), guarded by NV_pixel_data_range.
#define QZKT_GL_PIXEL_DATA_RANGE_ENTRY_POINTS(X)                                                             \
    X(PFNGLPIXELDATARANGENVPROC, glPixelDataRangeNV)                                                         \
    X(PFNGLFLUSHPIXELDATARANGENVPROC, glFlushPixelDataRangeNV)

// Shader objects (39), guarded by ARB_shader_objects.
#define QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(X)                                                               \
    X(PFNGLDELETEOBJECTARBPROC, glDeleteObjectARB)                                                           \
    X(PFNGLGETHANDLEARBPROC, glGetHandleARB)                                                                 \
    X(PFNGLDETACHOBJECTARBPROC, glDetachObjectARB)                                                           \
    X(PFNGLCREATESHADEROBJECTARBPROC, glCreateShaderObjectARB)                                               \
    X(PFNGLSHADERSOURCEARBPROC, glShaderSourceARB)                                                           \
    X(PFNGLCOMPILESHADERARBPROC, glCompileShaderARB)                                                         \
    X(PFNGLCREATEPROGRAMOBJECTARBPROC, glCreateProgramObjectARB)                                             \
    X(PFNGLATTACHOBJECTARBPROC, glAttachObjectARB)                                                           \
    X(PFNGLLINKPROGRAMARBPROC, glLinkProgramARB)                                                             \
    X(PFNGLUSEPROGRAMOBJECTARBPROC, glUseProgramObjectARB)                                                   \
    X(PFNGLVALIDATEPROGRAMARBPROC, glValidateProgramARB)                                                     \
    X(PFNGLUNIFORM1FARBPROC, glUniform1fARB)                                                                 \
    X(PFNGLUNIFORM2FARBPROC, glUniform2fARB)                                                                 \
    X(PFNGLUNIFORM3FARBPROC, glUniform3fARB)                                                                 \
    X(PFNGLUNIFORM4FARBPROC, glUniform4fARB)                                                                 \
    X(PFNGLUNIFORM1IARBPROC, glUniform1iARB)                                                                 \
    X(PFNGLUNIFORM2IARBPROC, glUniform2iARB)                                                                 \
    X(PFNGLUNIFORM3IARBPROC, glUniform3iARB)                                                                 \
    X(PFNGLUNIFORM4IARBPROC, glUniform4iARB)                                                                 \
    X(PFNGLUNIFORM1FVARBPROC, glUniform1fvARB)                                                               \
    X(PFNGLUNIFORM2FVARBPROC, glUniform2fvARB)                                                               \
    X(PFNGLUNIFORM3FVARBPROC, glUniform3fvARB)                                                               \
    X(PFNGLUNIFORM4FVARBPROC, glUniform4fvARB)                                                               \
    X(PFNGLUNIFORM1IVARBPROC, glUniform1ivARB)                                                               \
    X(PFNGLUNIFORM2IVARBPROC, glUniform2ivARB)                                                               \
    X(PFNGLUNIFORM3IVARBPROC, glUniform3ivARB)                                                               \
    X(PFNGLUNIFORM4IVARBPROC, glUniform4ivARB)                                                               \
    X(PFNGLUNIFORMMATRIX2FVARBPROC, glUniformMatrix2fvARB)                                                   \
    X(PFNGLUNIFORMMATRIX3FVARBPROC, glUniformMatrix3fvARB)                                                   \
    X(PFNGLUNIFORMMATRIX4FVARBPROC, glUniformMatrix4fvARB)                                                   \
    X(PFNGLGETOBJECTPARAMETERFVARBPROC, glGetObjectParameterfvARB)                                           \
    X(PFNGLGETOBJECTPARAMETERIVARBPROC, glGetObjectParameterivARB)                                           \
    X(PFNGLGETINFOLOGARBPROC, glGetInfoLogARB)                                                               \
    X(PFNGLGETATTACHEDOBJECTSARBPROC, glGetAttachedObjectsARB)                                               \
    X(PFNGLGETUNIFORMLOCATIONARBPROC, glGetUniformLocationARB)                                               \
    X(PFNGLGETACTIVEUNIFORMARBPROC, glGetActiveUniformARB)                                                   \
    X(PFNGLGETUNIFORMFVARBPROC, glGetUniformfvARB)                                                           \
    X(PFNGLGETUNIFORMIVARBPROC, glGetUniformivARB)                                                           \
    X(PFNGLGETSHADERSOURCEARBPROC, glGetShaderSourceARB)

// Framebuffer object (17), guarded by EXT_framebuffer_object.
#define QZKT_GL_FRAMEBUFFER_OBJECT_ENTRY_POINTS(X)                                                           \
    X(PFNGLBINDFRAMEBUFFEREXTPROC, glBindFramebufferEXT)                                                     \
    X(PFNGLBINDRENDERBUFFEREXTPROC, glBindRenderbufferEXT)                                                   \
    X(PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC, glCheckFramebufferStatusEXT)                                       \
    X(PFNGLDELETEFRAMEBUFFERSEXTPROC, glDeleteFramebuffersEXT)                                               \
    X(PFNGLDELETERENDERBUFFERSEXTPROC, glDeleteRenderbuffersEXT)                                             \
    X(PFNGLFRAMEBUFFERRENDERBUFFEREXTPROC, glFramebufferRenderbufferEXT)                                     \
    X(PFNGLFRAMEBUFFERTEXTURE1DEXTPROC, glFramebufferTexture1DEXT)                                           \
    X(PFNGLFRAMEBUFFERTEXTURE2DEXTPROC, glFramebufferTexture2DEXT)                                           \
    X(PFNGLFRAMEBUFFERTEXTURE3DEXTPROC, glFramebufferTexture3DEXT)                                           \
    X(PFNGLGENFRAMEBUFFERSEXTPROC, glGenFramebuffersEXT)                                                     \
    X(PFNGLGENRENDERBUFFERSEXTPROC, glGenRenderbuffersEXT)                                                   \
    X(PFNGLGENERATEMIPMAPEXTPROC, glGenerateMipmapEXT)                                                       \
    X(PFNGLGETFRAMEBUFFERATTACHMENTPARAMETERIVEXTPROC, glGetFramebufferAttachmentParameterivEXT)             \
    X(PFNGLGETRENDERBUFFERPARAMETERIVEXTPROC, glGetRenderbufferParameterivEXT)                               \
    X(PFNGLISFRAMEBUFFEREXTPROC, glIsFramebufferEXT)                                                         \
    X(PFNGLISRENDERBUFFEREXTPROC, glIsRenderbufferEXT)                                                       \
    X(PFNGLRENDERBUFFERSTORAGEEXTPROC, glRenderbufferStorageEXT)

// Vertex shader (3), guarded by ARB_vertex_shader.
#define QZKT_GL_VERTEX_SHADER_ENTRY_POINTS(X)                                                                \
    X(PFNGLBINDATTRIBLOCATIONARBPROC, glBindAttribLocationARB)                                               \
    X(PFNGLGETACTIVEATTRIBARBPROC, glGetActiveAttribARB)                                                     \
    X(PFNGLGETATTRIBLOCATIONARBPROC, glGetAttribLocationARB)

// All twelve groups in the order their fields stand in GLExtensions.
#define QZKT_GL_ALL_ENTRY_POINTS(X)                                                                          \
    QZKT_GL_MULTITEXTURE_ENTRY_POINTS(X)                                                                     \
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(X)                                                              \
    QZKT_GL_VERTEX_PROGRAM_ENTRY_POINTS(X)                                                                   \
    QZKT_GL_IMAGING_ENTRY_POINTS(X)                                                                          \
    QZKT_GL_VERTEX_BUFFER_OBJECT_ENTRY_POINTS(X)                                                             \
    QZKT_GL_BLEND_FUNC_SEPARATE_ENTRY_POINTS(X)                                                              \
    QZKT_GL_VERTEX_WEIGHTING_ENTRY_POINTS(X)                                                                 \
    QZKT_GL_REGISTER_COMBINERS_ENTRY_POINTS(X)                                                               \
    QZKT_GL_PIXEL_DATA_RANGE_ENTRY_POINTS(X)                                                                 \
    QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(X)                                                                   \
    QZKT_GL_FRAMEBUFFER_OBJECT_ENTRY_POINTS(X)                                                               \
    QZKT_GL_VERTEX_SHADER_ENTRY_POINTS(X)
