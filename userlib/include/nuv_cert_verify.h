/** @file
 * userlib: certificate name matching.
 *
 * After a TLS handshake a daemon holds the certificate of its peer and must decide whether this is the peer it wants.
 * What it wants is configured as a needle: a list of name attributes and the values that they must have in the
 * certificate's subject (who it was made out to) or issuer (who signed it).
 *
 *     if (NUV_CertVerify_Subject(peer, "CN=acs.example.net, O=\"Foo, Bar\", C=DE") != 0 ||
 *         NUV_CertVerify_Issuer(peer, "CN=Example Root CA") != 0)
 *       refuse();
 *
 * A needle has at most six items, separated by commas behind which blanks are skipped. An item is the attribute's
 * name, "=", and the value; the names are written exactly as here, without blanks round them:
 *
 *     CN  common name     L   locality            O   organisation
 *     C   country         ST  state or province   OU  organisational unit
 *
 * Double quotes keep commas in a value; they are not part of it. Between quotes a backslash stands before a quote or a
 * backslash that is meant as such; elsewhere in a value there is none. The needle "*" is met by every certificate.
 *
 * A value is compared byte by byte with the whole of the first entry that the name has for this attribute; a second
 * entry, say another OU, is never looked at. The bytes are those in the certificate: nothing is converted, so a value
 * beyond ASCII is written in the needle as the certificate encodes it, and a zero byte inside a certificate's value
 * keeps every needle from matching it.
 *
 * All four functions answer with the same codes:
 *
 *      0   match, or well-formed (NUV_Cert_splitNeedle() returns a count in its place)
 *     -1   no match: another value, no such entry, an unknown attribute, no name, or no memory
 *     -2   the needle, or an item of it, is empty
 *     -3   syntax error: a misplaced backslash, no "=" behind the attribute, or too many items
 *
 * Contracts are reported under "nuv_cert_verify"; after an error handler has returned, a null text counts as an empty
 * one, and where there is no place for a result, the text is split and read all the same. A library that was configured with USERLIB_CERT=OFF has none of these functions.
 */
#ifndef NUV_CERT_VERIFY_H
#define NUV_CERT_VERIFY_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** OpenSSL's X509. Its headers are needed only where a daemon makes or reads certificates itself. */
struct x509_st;

/**
 * NUV_Cert_splitNeedle splits the text a_src at a_separator and stores the addresses of at most a_maxdest items into
 * a_dest. The items stay in a_src, where the separators are overwritten with zeros; blanks behind a separator are
 * skipped, and a separator at the very end is followed by one more, empty item. Separators between quotes do not
 * count. Quotes and backslashes remain in the items; a quote that is never closed is not an error here.
 *
 * Returns the number of items, -2 for an empty text, or -3 for a backslash between quotes that stands before neither a
 * quote nor a backslash and for more than a_maxdest items; the text may then be split in part. Requires "((void *)0) !=
 * a_dest" and "((void *)0) != a_src".
 */
NUV_API int32_t NUV_Cert_splitNeedle(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator);

/**
 * NUV_Cert_splitAttribute takes one item of a needle apart: blanks in front are skipped, a_nid gets OpenSSL's number
 * of the attribute (13 CN, 14 C, 15 L, 16 ST, 17 O, 18 OU; -1 when there is none of these), and a_AttrValue the value
 * without its quotes and backslashes. The value's buffer belongs to the caller and is at least as long as the item.
 * a_nid may be null.
 *
 * An attribute is recognised by how the item begins, so 'Org=x' is an O whose "=" is missing.
 *
 * Returns 0; -2 for nothing but blanks; -1 for an unknown attribute; -3 for a missing "=", for a backslash outside
 * quotes and for one that ends the item. A value is written only if there is an "=", and is empty after a misplaced
 * backslash. Requires "((void *)0) != a_AttrValue" and "((void *)0) != a_Attr".
 */
NUV_API int32_t NUV_Cert_splitAttribute(int32_t* a_nid, char* a_AttrValue, const char* a_Attr);

/**
 * NUV_CertVerify_Subject matches a_needle with the subject of a_cert, item by item from the left: the first item that
 * does not match, or is not well-formed, decides the result. Nothing is looked at for the needle "*"; otherwise a null
 * certificate has no name. Both arguments stay the caller's.
 */
NUV_API int32_t NUV_CertVerify_Subject(const struct x509_st* a_cert, const char* a_needle);

/** NUV_CertVerify_Issuer does with the issuer of a_cert what NUV_CertVerify_Subject() does with the subject. */
NUV_API int32_t NUV_CertVerify_Issuer(const struct x509_st* a_cert, const char* a_needle);

#ifdef __cplusplus
}
#endif

#endif
