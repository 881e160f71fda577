// Published test vectors, both ways. All of them are without padding.
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/SMCEncryption.h"

#include "tests/support/Hexadecimal.h"

namespace kelvora::testing {
namespace {

struct Vector {
  std::uint32_t algorithm;
  const char* key;
  const char* initializationVector;  // null: ECB mode
  const char* plain;
  const char* enciphered;
};

void expectVector(const Vector& vector) {
  const auto key = bytesOfHex(vector.key);
  const bool isECB = vector.initializationVector == nullptr;
  const auto initial = bytesOfHex(isECB ? "" : vector.initializationVector);
  const auto plain = bytesOfHex(vector.plain);
  const auto enciphered = bytesOfHex(vector.enciphered);
  const std::uint32_t options = isECB ? kSMCCipherECBMode : 0;
  EXPECT_EQ(
      SMCEncryption::encryptedDataUsingAlgorithm(plain, vector.algorithm, key, initial, options),
      enciphered)
      << vector.key;
  EXPECT_EQ(SMCEncryption::decryptedDataUsingAlgorithm(enciphered, vector.algorithm, key, initial,
                                                       options),
            plain)
      << vector.key;
}

template <std::size_t count>
void expectVectors(const Vector (&vectors)[count]) {
  for (const Vector& vector : vectors) {
    expectVector(vector);
  }
}

TEST(CipherVectors, AESOfFIPS197) {
  constexpr const char* kPlain = "00112233445566778899aabbccddeeff";
  const Vector vectors[] = {
      {kSMCCipherAES, "000102030405060708090a0b0c0d0e0f", nullptr, kPlain,
       "69c4e0d86a7b0430d8cdb78070b4c55a"},
      {kSMCCipherAES, "000102030405060708090a0b0c0d0e0f1011121314151617", nullptr, kPlain,
       "dda97ca4864cdfe06eaf70a0ec0d7191"},
      {kSMCCipherAES, "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f", nullptr,
       kPlain, "8ea2b7ca516745bfeafc49904b496089"}};
  expectVectors(vectors);
}

TEST(CipherVectors, AESOfSP80038A) {
  constexpr const char* kInitial = "000102030405060708090a0b0c0d0e0f";
  constexpr const char* kPlain =
      "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
      "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710";
  const Vector vectors[] = {
      {kSMCCipherAES, "2b7e151628aed2a6abf7158809cf4f3c", nullptr, kPlain,
       "3ad77bb40d7a3660a89ecaf32466ef97 f5d3d58503b9699de785895a96fdbaaf"
       "43b1cd7f598ece23881b00e3ed030688 7b0c785e27e8ad3f8223207104725dd4"},
      {kSMCCipherAES, "2b7e151628aed2a6abf7158809cf4f3c", kInitial, kPlain,
       "7649abac8119b246cee98e9b12e9197d 5086cb9b507219ee95db113a917678b2"
       "73bed6b8e3c1743b7116e69e22229516 3ff1caa1681fac09120eca307586e1a7"},
      {kSMCCipherAES, "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b", kInitial, kPlain,
       "4f021db243bc633d7178183a9fa071e8 b4d9ada9ad7dedf4e5e738763f69145a"
       "571b242012fb7ae07fa9baac3df102e0 08b0e27988598881d920a9e64f5615cd"},
      {kSMCCipherAES, "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4", kInitial,
       kPlain,
       "f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
       "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b"}};
  expectVectors(vectors);
}

TEST(CipherVectors, DESOfFIPS81) {
  constexpr const char* kPlain = "4e6f772069732074 68652074696d6520 666f7220616c6c20";
  const Vector vectors[] = {
      {kSMCCipherDES, "0123456789abcdef", nullptr, kPlain,
       "3fa40e8a984d4815 6a271787ab8883f9 893d51ec4b563b53"},
      {kSMCCipherDES, "0123456789abcdef", "1234567890abcdef", kPlain,
       "e5c7cdde872bf27c 43e934008c389c0f 683788499a7c05f6"},
      {kSMCCipherDES, "0101010101010101", nullptr, "8000000000000000", "95f8a5e5dd31d900"}};
  expectVectors(vectors);
}

TEST(CipherVectors, TripleDESOfSP80067) {
  expectVector({kSMCCipher3DES, "0123456789abcdef 23456789abcdef01 456789abcdef0123", nullptr,
                "5468652071756663 6b2062726f776e20 666f78206a756d70",
                "a826fd8ce53b855f cce21c8112256fe6 68d5c05dd9b6b900"});
}

TEST(CipherVectors, CASTOfRFC2144) {
  const Vector vectors[] = {
      {kSMCCipherCAST, "0123456712345678234567893456789a", nullptr, "0123456789abcdef",
       "238b4fe5847e44b2"},
      {kSMCCipherCAST, "01234567123456782345", nullptr, "0123456789abcdef", "eb6a711a2c02271b"},
      {kSMCCipherCAST, "0123456712", nullptr, "0123456789abcdef", "7ac816d16e9b302e"}};
  expectVectors(vectors);
}

TEST(CipherVectors, RC4OfRFC6229) {
  constexpr const char* kZeros = "00000000000000000000000000000000";
  const Vector vectors[] = {
      {kSMCCipherRC4, "0102030405", "", kZeros, "b2396305f03dc027ccc3524a0a1118a8"},
      {kSMCCipherRC4, "0102030405060708", "", kZeros, "97ab8a1bf0afb96132f2f67258da15a8"},
      {kSMCCipherRC4, "0102030405060708090a0b0c0d0e0f10", nullptr, kZeros,
       "9ac7cc9a609d1ef7b2932899cde41b97"},
      {kSMCCipherRC4, "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", nullptr,
       kZeros, "eaa6bd25880bf93d3f5d1e4ca2611d91"}};
  expectVectors(vectors);
}

TEST(CipherVectors, RC2OfRFC2268) {
  const Vector vectors[] = {
      {kSMCCipherRC2, "ffffffffffffffff", nullptr, "ffffffffffffffff", "278b27e42e2f0d49"},
      {kSMCCipherRC2, "3000000000000000", nullptr, "1000000000000001", "30649edf9be7d2c2"},
      {kSMCCipherRC2, "88bca90e90875a7f0f79c384627bafb2", nullptr, "0000000000000000",
       "2269552ab0f85ca6"}};
  expectVectors(vectors);
}

TEST(CipherVectors, BlowfishOfItsAuthor) {
  const Vector vectors[] = {
      {kSMCCipherBlowfish, "0000000000000000", nullptr, "0000000000000000", "4ef997456198dd78"},
      {kSMCCipherBlowfish, "ffffffffffffffff", nullptr, "ffffffffffffffff", "51866fd5b85ecb8a"},
      {kSMCCipherBlowfish, "0131d9619dc1376e", nullptr, "5cd54ca83def57da", "b1b8cc0b250f09a0"},
      {kSMCCipherBlowfish, "f0e1d2c3b4a59687", nullptr, "fedcba9876543210", "e87a244e2cc85e82"},
      {kSMCCipherBlowfish, "f0e1d2c3b4a5968778695a4b3c2d1e0f0011223344556677", nullptr,
       "fedcba9876543210", "05044b62fa52d080"},
      {kSMCCipherBlowfish, "0123456789abcdeff0e1d2c3b4a59687", "fedcba9876543210",
       "37363534333231204e6f77206973207468652074696d6520666f722000000000",
       "6b77b4d63006dee605b156e27403979358deb9e7154616d959f1652bd5ff92cc"}};
  expectVectors(vectors);
}

}  // namespace
}  // namespace kelvora::testing
