// Making the decode programs current: the DXT program that turns the hardware-decoded
// DXT1/DXT5 texture into the host's A, R, G, B byte order, and the DXT24 program that
// decodes DXT24 blocks from an integer texture. Each is built on first use in the instance's
// context and kept; the uniforms are set on every call. The caller has bound the block
// texture on unit 0 and set its texture matrix, draws the quad afterwards and then unbinds
// the program.
#pragma once

#include "gl_decompressor_resources.h"

// The one-texture DXT program (255 characters): clamp the coordinate to the filled texels,
// sample, write the sample's channels rotated to alpha, red, green, blue.
extern const char kKELOneTextureShaderSource[];
// The two-texture program (599 characters): the same for the blocks on unit 0, blended with
// the second plane on unit 1 by smoothstep(edgeLow, edgeHigh, plane alpha). Built only when
// asked for; the frame renderer never asks.
extern const char kKELTwoTextureShaderSource[];

// Builds (once) and makes current the two-texture program when withSecondPlane, else the
// one-texture program, and sets TEX0 = 0, TEX1 = 1, edgeLow = 0, edgeHigh, and the clamping
// ranges minST0/maxST0 (block texture) and minST1/maxST1 (plane texture): from the centre of
// the first texel to the centre of the last filled one. Uniforms a program does not declare
// are skipped.
void ApplyKELShader(GLDecompressorResources* resources, GLExtensions& ext, double edgeHigh,
                    bool withSecondPlane);

// Builds (once) and makes current the DXT24 program for hasAlpha, and sets TEX0 = 0 and the
// block texture's clamping range where the program declares them (it declares only TEX0).
void ApplyDXT24Shader(GLDecompressorResources* resources, GLExtensions& gl, bool hasAlpha);
