#include "calibration/TavelCalibrationReader.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/StatusCodes.hpp"
#include "calibration/TavelPrimitiveReaders.hpp"

namespace kelvora {

namespace {

constexpr char kTavelMagic[] = "ZYNSCL";
constexpr uint32_t kTavelMagicLength = 6;
constexpr uint32_t kMaxTavelFrequencies = 3;

// Text items are stored with their capacity including the terminator.
constexpr uint32_t kDateCapacity = 20;
constexpr uint32_t kSerialCapacity = 10;
constexpr uint32_t kSensorSerialCapacity = 20;

constexpr uint32_t kRoiValues = 4;
constexpr uint32_t kLensParameterValues = 9;
constexpr uint32_t kNoiseParameterValues = 4;
constexpr uint32_t kTempCompensationCapacity = 4;

constexpr uint64_t kLargestPixelCount = 0x7FFFFFFFu;

// The mask, stored at one bit per pixel, bounds the pixel count a blob of a
// given size can describe.
bool pixelCountFitsBlob(uint64_t pixels, uint32_t size) {
  return pixels <= static_cast<uint64_t>(size) * 8u && pixels <= kLargestPixelCount;
}

// Float descriptor, then the array packed or plain as the descriptor says.
uint32_t readDescribedFloats(float* values, uint32_t count, TavelScratch scratch,
                             const uint8_t* data, uint32_t* position, uint32_t size) {
  TavelFloatDescriptor descriptor{};
  uint32_t s = kelvora_fillTavelFloatDescriptorFromStream(&descriptor, data, position, size);
  if (s != status::kSuccess) return s;
  if (descriptor.step != 0.0f) {
    return kelvora_readTavelCompressedDataFloat(values, count, &descriptor, scratch, data, position,
                                                size);
  }
  return kelvora_readTavelDataFloat(values, count, data, position, size);
}

uint32_t readFrequency(KelvoraCalibrationFrequency* f, bool withAmplitudeWiggling, uint32_t pixels,
                       TavelScratch scratch, const uint8_t* data, uint32_t* position,
                       uint32_t size) {
  uint32_t s = kelvora_readTavelContainerHeader(data, position, size);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataUint32(&f->modulationFrequency, 1, data, position, size);
  }
  if (s == status::kSuccess)
    s = readDescribedFloats(f->fppn, pixels, scratch, data, position, size);
  uint32_t terms = 0;
  if (s == status::kSuccess) s = kelvora_readTavelDataDynNoValues(&terms, data, position, size);
  if (s == status::kSuccess) s = kelvora_checkTavelNoValues(terms, kTempCompensationCapacity);
  if (s == status::kSuccess) s = kelvora_updateTavelWithActualNo(&f->tempCompensationCount, terms);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataFloat(f->tempCompensation, terms, data, position, size);
  }
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataFloat(f->noiseParameters, kNoiseParameterValues, data, position, size);
  }
  if (s == status::kSuccess) s = kelvora_readTavelWiggling(&f->phaseWiggling, data, position, size);
  if (s == status::kSuccess && withAmplitudeWiggling) {
    s = kelvora_readTavelWiggling(&f->amplitudeWiggling, data, position, size);
  }
  if (s == status::kSuccess) s = kelvora_readTavelContainerFooter(data, position, size);
  return s;
}

}  // namespace

uint32_t kelvora_readTavelRootContainerHeader(TavelRootHeader* header, const char* magic,
                                              const uint8_t* data, uint32_t* position,
                                              uint32_t size) {
  uint32_t s =
      kelvora_readTavelHeaderString(header->magic, kTavelMagicLength, data, position, size);
  if (s != status::kSuccess) return s;
  if (std::strncmp(header->magic, magic, kTavelMagicLength) != 0) return status::kUnsupported;
  s = kelvora_readTavelHeaderUint32(&header->unused0, data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelHeaderUint16(&header->frequencyCount, data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelHeaderUint16(&header->unused1, data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelHeaderUint32(&header->dimension0, data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelHeaderUint32(&header->dimension1, data, position, size);
  return s;
}

int32_t kelvora_supportsTavelCalibration(const uint8_t* data, uint32_t size) {
  return size >= kTavelMagicLength + 1 && std::memcmp(data, kTavelMagic, kTavelMagicLength) == 0;
}

int32_t kelvora_getTavelNumPixels(const uint8_t* data, uint32_t size) {
  TavelRootHeader header{};
  uint32_t position = 0;
  const uint32_t s =
      kelvora_readTavelRootContainerHeader(&header, kTavelMagic, data, &position, size);
  if (s != status::kSuccess) return static_cast<int32_t>(s);
  // A product beyond the signed range would read as a status code; the
  // largest count says the same thing and is refused before any allocation.
  const uint64_t pixels = static_cast<uint64_t>(header.dimension0) * header.dimension1;
  return static_cast<int32_t>(pixels < kLargestPixelCount ? pixels : kLargestPixelCount);
}

uint32_t kelvora_readTavelHandlerCalibration(const uint8_t* data, uint32_t size,
                                             KelvoraCalibration* calibration) {
  if (!kelvora_supportsTavelCalibration(data, size)) return status::kUnsupported;
  uint32_t position = 0;
  return kelvora_readTavelCalibration(calibration, data, &position, size);
}

uint32_t kelvora_readTavelCalibration(KelvoraCalibration* calibration, const uint8_t* data,
                                      uint32_t* position, uint32_t size) {
  TavelRootHeader header{};
  uint32_t s = kelvora_readTavelRootContainerHeader(&header, kTavelMagic, data, position, size);
  if (s != status::kSuccess) return s;
  if (header.frequencyCount < 1 || header.frequencyCount > kMaxTavelFrequencies) {
    return status::kUnsupported;
  }
  calibration->type = 2;
  calibration->customFieldCount = 0;
  if (header.frequencyCount > kCalibrationFrequencyCapacity) return status::kCapacityExceeded;
  calibration->frequencyCount = static_cast<uint8_t>(header.frequencyCount);

  const uint64_t pixels = static_cast<uint64_t>(header.dimension0) * header.dimension1;
  if (!pixelCountFitsBlob(pixels, size)) return status::kStreamTooShort;
  const uint32_t pixelCount = static_cast<uint32_t>(pixels);
  // Room for the region of interest too, which is unpacked through the same
  // buffer and has four values whatever the pixel count.
  const uint32_t capacity = pixelCount < kRoiValues ? kRoiValues : pixelCount;
  auto* scratch = static_cast<uint32_t*>(std::malloc(static_cast<size_t>(capacity) * 4u));
  s = kelvora_readTavelCalibrationBody(calibration, pixelCount, scratch, capacity, data, position,
                                       size);
  std::free(scratch);
  return s;
}

uint32_t kelvora_readTavelCalibrationBody(KelvoraCalibration* calibration, uint32_t pixelCount,
                                          uint32_t* scratch, uint32_t scratchCapacity,
                                          const uint8_t* data, uint32_t* position, uint32_t size) {
  std::printf("enter =====  %s ============\n", __func__);
  calibration->version = 1;
  KelvoraCalibration* c = calibration;
  const TavelScratch buffer{scratch, scratchCapacity};

  uint32_t s = kelvora_readTavelDataString(c->date, kDateCapacity, data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelDataString(c->serial, kSerialCapacity, data, position, size);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataString(c->sensorSerial, kSensorSerialCapacity, data, position, size);
  }
  TavelIntegralDescriptor roiDescriptor{};
  if (s == status::kSuccess) s = kelvora_fillTavelIntegralDescriptor(0, 65535, 1, &roiDescriptor);
  if (s == status::kSuccess) {
    s = kelvora_readTavelCompressedDataUint32(c->calibrationROI, kRoiValues, &roiDescriptor, buffer,
                                              data, position, size);
  }
  if (s != status::kSuccess) return s;

  // Every per-pixel buffer was allocated for the root header's count; a region
  // of interest with another area would read past or short of them.
  const uint64_t roiPixels = static_cast<uint64_t>(c->calibrationROI[2]) * c->calibrationROI[3];
  if (roiPixels != pixelCount) return status::kUnsupported;
  const uint32_t pixels = pixelCount;

  TavelIntegralDescriptor maskDescriptor{};
  s = kelvora_fillTavelIntegralDescriptor(0, 1, 1, &maskDescriptor);
  if (s == status::kSuccess) {
    s = kelvora_readTavelCompressedDataUint8(c->mask, pixels, &maskDescriptor, buffer, data,
                                             position, size);
  }
  if (s == status::kSuccess) s = readDescribedFloats(c->fpn, pixels, buffer, data, position, size);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataFloat(c->lensParameters, kLensParameterValues, data, position, size);
  }
  if (s == status::kSuccess) s = kelvora_readTavelDataFloat(nullptr, 0, data, position, size);
  const bool withAmplitudeWiggling = c->frequencyCount > 1;
  for (uint32_t f = 0; s == status::kSuccess && f < c->frequencyCount; ++f) {
    s = readFrequency(&c->frequencies[f], withAmplitudeWiggling, pixels, buffer, data, position,
                      size);
  }
  if (s == status::kSuccess) s = kelvora_readTavelContainerFooter(data, position, size);
  if (s == status::kSuccess) s = kelvora_readTavelContainerFooter(data, position, size);
  return s;
}

}  // namespace kelvora
