// open_types.cpp - open types and ANY in XER: the encoding they hold is XML
// already and is copied into the document as it stands.
#include "xer_out.h"

using namespace kel::xer;

extern "C" {

void _kel_tex_opentype(KelGlobal *world, const KelOpenType *value) {
    if (!value->length || !value->encoded)
        fail(world, kMsgEmptyOpenType);
    _kel_tex_anyopentype(world, static_cast<const unsigned char *>(value->encoded), value->length);
}

void _kel_tex_anyopentype(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    put_text(world, out_state(world), bytes, length);
}

} // extern "C"
