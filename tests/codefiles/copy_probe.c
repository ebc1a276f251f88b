/*
 * copy_probe.c - the copy and free functions of the copier's stand-in code
 * file.  The copy takes the record whole and then replaces every pointer
 * with a copy of its own through the _kel_cpy_ primitives; the free function
 * gives back each piece of a value made in library memory.
 */
#include <stddef.h>

#include "copy_probe.h"
#include "kelvarn_services.h"

static void *copy_note(KelGlobal *world, const KelCopyProbeNote *source)
{
    return _kel_cpy_unbnd_octet_ia(world, source, NULL, sizeof source->length, 1,
                                   offsetof(KelUnboundedString, value));
}

static void *copy_record(KelGlobal *world, const KelCopyProbeRecord *source)
{
    KelCopyProbeRecord *copy = (KelCopyProbeRecord *)_kel_dec_getmem(world, sizeof *copy);
    *copy = *source;
    _kel_cpy_unbnd_octet_ia(world, &source->name, &copy->name, sizeof source->name.length, 1,
                            offsetof(KelUnboundedString, value));
    _kel_cpy_link_obj(world, &source->items, &copy->items, sizeof(KelCopyProbeItem));
    copy->ratio = _kel_cpy_char_real(world, source->ratio);
    if (source->extra)
        copy->extra = _kel_cpy_open_type(world, source->extra, NULL);
    return copy;
}

static int probe_copy(KelGlobal *world, int pdu, void *source, void **destination)
{
    *destination = pdu == KEL_COPY_PROBE_RECORD ? copy_record(world, (const KelCopyProbeRecord *)source)
                                                : copy_note(world, (const KelCopyProbeNote *)source);
    return 0;
}

static int probe_free(KelGlobal *world, int pdu, void *value)
{
    if (pdu == KEL_COPY_PROBE_RECORD) {
        KelCopyProbeRecord *record = (KelCopyProbeRecord *)value;
        KelCopyProbeItem *item = record->items;
        while (item) {
            KelCopyProbeItem *next = item->next;
            kelFreeMemory(world, item);
            item = next;
        }
        kelFreeMemory(world, record->name.value);
        kelFreeMemory(world, record->ratio);
        if (record->extra) {
            kelFreeMemory(world, record->extra->encoded);
            if (record->extra->decoded)
                probe_free(world, record->extra->pduNum, record->extra->decoded);
            kelFreeMemory(world, record->extra);
        }
    } else {
        kelFreeMemory(world, ((KelCopyProbeNote *)value)->value);
    }
    kelFreeMemory(world, value);
    return 0;
}

KelXApiTable kel_copy_probe_api = {0, probe_copy};

static void probe_init(KelGlobal *world)
{
    kelLinkBer(world);
    kelInitXAPIentries(world, &kel_copy_probe_api);
}

KelControlTable kel_copy_probe_table = {probe_init, NULL, NULL, probe_free, 17, NULL, NULL, 16, 0, NULL, NULL};
