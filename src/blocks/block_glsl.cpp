// The GLSL decoders' sources.
#include "block_glsl.h"

namespace {

const char kDXT24Shader[] = R"(precision highp float;
precision highp int;
precision highp usampler2D;
uniform usampler2D qzkt_blocks;
out vec4 qzkt_rgba;
uint qzkt_byte(ivec2 block, int k) {
    return texelFetch(qzkt_blocks, ivec2(block.x * 10 + k, block.y), 0).r;
}
void main() {
    ivec2 p = ivec2(gl_FragCoord.xy);
    ivec2 block = p / 4;
    ivec2 at = p - block * 4;
    uvec3 c0 = uvec3(qzkt_byte(block, 0), qzkt_byte(block, 1), qzkt_byte(block, 2));
    uvec3 c1 = uvec3(qzkt_byte(block, 3), qzkt_byte(block, 4), qzkt_byte(block, 5));
    uint index = (qzkt_byte(block, 6 + at.y) >> uint(2 * at.x)) & 3u;
    uvec3 c = index == 0u ? c0
            : index == 1u ? c1
            : index == 2u ? (2u * c0 + c1 + 1u) / 3u
                          : (c0 + 2u * c1 + 1u) / 3u;
    qzkt_rgba = vec4(vec3(c) / 255.0, 1.0);
}
)";

const char kS3TCShader[] = R"(precision highp float;
precision highp int;
uniform sampler2D qzkt_texture;
out vec4 qzkt_rgba;
void main() {
    qzkt_rgba = texelFetch(qzkt_texture, ivec2(gl_FragCoord.xy), 0);
}
)";

} // namespace

const char* BlockFragmentShader(BlockKind kind) {
    return kind == BlockKind::kDXT24 ? kDXT24Shader : kS3TCShader;
}
