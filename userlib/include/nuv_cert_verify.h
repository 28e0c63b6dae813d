/** @file
 * userlib: certificate name matching.
 *
 * Tells whether the subject or issuer of a peer's certificate has the names that were configured: the needle, at most
 * six items with commas in between. Names only: whether the certificate is valid is for the TLS handshake to find out.
 *
 *     if (NUV_CertVerify_Subject(peer, "CN=acs.example.net, O=\"Foo, Bar\", C=DE") != 0 ||
 *         NUV_CertVerify_Issuer(peer, "CN=Example Root CA") != 0)
 *       refuse();
 *
 * An item is CN, C, L, ST, O or OU, "=", and a value, in double quotes if it has commas. "*" matches every
 * certificate. The grammar is on the family's page. All functions return 0 for a match (NUV_Cert_splitNeedle() a
 * count), -1 for none, -2 if the needle or an item is empty, -3 for a syntax error. A library configured with
 * USERLIB_CERT=OFF has none of them.
 */
#ifndef NUV_CERT_VERIFY_H
#define NUV_CERT_VERIFY_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** OpenSSL's X509. */
struct x509_st;

/** NUV_Cert_splitNeedle splits a_src at a_separator into at most a_maxdest items, stores their addresses in a_dest,
 * and returns their number; more are a syntax error. The items stay in a_src, where zeros replace the separators. */
NUV_API int32_t NUV_Cert_splitNeedle(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator);

/** NUV_Cert_splitAttribute takes an item apart: *a_nid, unless null, gets OpenSSL's number of the attribute (13 CN, 14
 * C, 15 L, 16 ST, 17 O, 18 OU, else -1), a_AttrValue, a buffer as long as the item, the value without quotes and
 * backslashes. */
NUV_API int32_t NUV_Cert_splitAttribute(int32_t* a_nid, char* a_AttrValue, const char* a_Attr);

/** NUV_CertVerify_Subject and NUV_CertVerify_Issuer match a_needle with the subject or the issuer of a_cert, item by
 * item; the first item that fails decides. Both arguments stay the caller's. */
NUV_API int32_t NUV_CertVerify_Subject(const struct x509_st* a_cert, const char* a_needle);
NUV_API int32_t NUV_CertVerify_Issuer(const struct x509_st* a_cert, const char* a_needle);

#ifdef __cplusplus
}
#endif

#endif
