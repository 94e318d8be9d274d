/**
 * @file common_uuid.h
 * Identifiers of 16, 32 or 128 bits, as the profiles of wireless devices use them.
 *
 * The record belongs to the caller and holds nothing but itself. The functions take no lock, never
 * block and log nothing; a wrong argument is a programming error that ends the process by an
 * assertion (source "common_uuid").
 */
#ifndef COMMON_COMMON_UUID_H
#define COMMON_COMMON_UUID_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** An identifier. */
typedef struct COMMON_UUID {
    uint8_t size;      /**< bytes that count: 0 (empty), 2, 4 or 16 */
    uint8_t bytes[16]; /**< the identifier as it was given, then zeros */
} COMMON_UUID;

/**
 * Sets an identifier. Its bytes are kept in the order in which they are given.
 * @param uuid gets the identifier; null ends the process ("((void *)0) != uuid").
 * @param size bytes: 0, 2, 4 or 16; any other size ends the process ("0").
 * @param data at least `size` bytes, outside of uuid; null ends the process
 *        ("((void *)0) != data") unless size is 0.
 */
void COMMON_UUID_Set(COMMON_UUID* uuid, uint32_t size, const void* data);

/**
 * Compares the 16 bytes of two identifiers. Their sizes are not compared: a short identifier is
 * equal to a longer one that goes on with zeros.
 * @param uuid1 null ends the process ("((void *)0) != uuid1").
 * @param uuid2 null ends the process ("((void *)0) != uuid2").
 * @return 1 when they are equal, else 0.
 */
uint32_t COMMON_UUID_Equals(const COMMON_UUID* uuid1, const COMMON_UUID* uuid2);

COMMON_END_DECLS

#endif
