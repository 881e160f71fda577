#pragma once

#include <os/availability.h>
#include <stddef.h>
#include <stdint.h>

// Of the system library, not of a framework.

/// 0, or what went wrong: -4300 to -4311.
using CCCryptorStatus = int32_t;
/// 0 enciphers, 1 deciphers.
using CCOperation = uint32_t;
using CCAlgorithm = uint32_t;
using CCOptions = uint32_t;
using CCCryptorRef = struct _CCCryptor*;

enum { kCCSuccess = 0 };
enum { kCCEncrypt = 0, kCCDecrypt = 1 };

/// A cryptor over a key, and over a vector of a block's bytes or null for all zeros.
extern "C" CCCryptorStatus CCCryptorCreate(CCOperation operation, CCAlgorithm algorithm,
                                           CCOptions options, const void* key, size_t keyLength,
                                           const void* vector, CCCryptorRef* cryptor)
    API_AVAILABLE(macos(10.4));
/// Wipes a cryptor and frees it.
extern "C" CCCryptorStatus CCCryptorRelease(CCCryptorRef cryptor) API_AVAILABLE(macos(10.4));
/// Processes input; `written` is how many bytes of the output it wrote.
extern "C" CCCryptorStatus CCCryptorUpdate(CCCryptorRef cryptor, const void* input,
                                           size_t inputLength, void* output, size_t outputSize,
                                           size_t* written) API_AVAILABLE(macos(10.4));
/// Writes what is left.
extern "C" CCCryptorStatus CCCryptorFinal(CCCryptorRef cryptor, void* output, size_t outputSize,
                                          size_t* written) API_AVAILABLE(macos(10.4));
/// How many bytes so much input gives at most, with or without the final step.
extern "C" size_t CCCryptorGetOutputLength(CCCryptorRef cryptor, size_t inputLength, bool isFinal)
    API_AVAILABLE(macos(10.5));
