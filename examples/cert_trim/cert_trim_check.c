/*
 * cert_trim_check.c - the constraint checker of the CertTrim code file, as
 * a compiler emits it: the two SIZE (1..MAX) lists (Extensions and each
 * RelativeDistinguishedName) must not be empty, and the validity times must
 * be times.
 */
#include "kelvarn_services.h"
#include "kelvarn_time.h"
#include "cert_trim.h"
#include "cert_trim_services.h"

enum { MSG_PDU_RANGE = 3, MSG_COUNT = 28 };

static void not_empty(KelGlobal *w, uint32_t count)
{
    if (count < 1)
        _kel_con_error(w, MSG_COUNT, count);
}

static void check_name(KelGlobal *w, const Name *v)
{
    uint32_t i;
    if (v->choice != rdnSequence_chosen)
        return;
    for (i = 0; i < v->u.rdnSequence.count; i++)
        not_empty(w, v->u.rdnSequence.value[i].count);
}

static void check_time(KelGlobal *w, const Time *v)
{
    if (v->choice == utcTime_chosen)
        _kel_check_nullterm_time(w, v->u.utcTime, 1);
    else if (v->choice == generalTime_chosen)
        _kel_check_nullterm_time(w, v->u.generalTime, 0);
}

int cert_check(KelGlobal *w, int pdu, void *value)
{
    const TBSCertificate *v = &((const Certificate *)value)->tbsCertificate;
    if (pdu != Certificate_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    check_name(w, &v->issuer);
    check_time(w, &v->validity.notBefore);
    check_time(w, &v->validity.notAfter);
    check_name(w, &v->subject);
    if (v->bit_mask & extensions_present)
        not_empty(w, v->extensions.count);
    return 0;
}
