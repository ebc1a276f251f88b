// prolog.cpp - the head of an XML document: the XML declaration, the
// document type declaration and the stylesheet reference, and the setters
// that keep the last two in the world between calls.  The settings are
// written as they stand, without escaping.
#include "xer_out.h"

namespace {

using namespace kel::xer;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
static_assert(sizeof kDeclaration - 1 == 38);

void put_string(KelGlobal *world, XerOutputState *state, const char *text) {
    put_text(world, state, text, static_cast<uint32_t>(std::strlen(text)));
}

} // namespace

extern "C" {

void _kel_tex_prolog(KelGlobal *world) {
    XerOutputState *state = out_state(world);
    if (!(world->encodingFlags & _XML_DECLARATION)) {
        put_literal(world, state, kDeclaration);
        _kel_tex_indent(world);
    }
    const XmlPrologSettings settings = prolog_settings(world->ext);
    if (settings.dtdKind) {
        put_literal(world, state, "<!DOCTYPE ");
        put_string(world, state, settings.dtdRoot);
        if (settings.dtdKind == 1)
            put_literal(world, state, " SYSTEM \"");
        else
            put_literal(world, state, " PUBLIC \"");
        put_string(world, state, settings.dtdIdentifier);
        put_literal(world, state, "\">");
        _kel_tex_indent(world);
    }
    if (settings.stylesheet) {
        put_literal(world, state, "<?xml-stylesheet type=\"text/xsl\" href=\"");
        put_string(world, state, settings.stylesheet);
        put_literal(world, state, "\"?>");
        _kel_tex_indent(world);
    }
}

int kelSetXmlStylesheet(KelGlobal *world, const char *href) {
    if (!world || !world->ext)
        return 6;
    XmlPrologSettings settings = prolog_settings(world->ext);
    settings.stylesheet = href;
    store_prolog_settings(world->ext, settings);
    return 0;
}

int kelSetXmlDTD(KelGlobal *world, const char *rootName, const char *identifier, int kind) {
    const auto dtdKind = static_cast<uint16_t>(kind);
    if (!world || !world->ext || (dtdKind && (!rootName || !identifier)))
        return 6;
    XmlPrologSettings settings = prolog_settings(world->ext);
    settings.dtdRoot = rootName;
    settings.dtdIdentifier = identifier;
    settings.dtdKind = dtdKind;
    store_prolog_settings(world->ext, settings);
    return 0;
}

} // extern "C"
