#include "headphones/HeadphoneCalibration.h"

#include "headphones/HeadphoneCalibrationStorage.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

constexpr std::string_view kCalibrationKey = "headphoneCalibration";

}  // namespace

HeadphoneCalibration::HeadphoneCalibration(UserDefaults& userDefaults)
    : userDefaults_(userDefaults) {
    restoreCalibration();
}

std::string HeadphoneCalibration::calibrationStore() const {
    return userDefaults_.data(kCalibrationKey);
}

void HeadphoneCalibration::setCalibrationStore(std::string_view json) {
    objectWillChange();
    userDefaults_.setData(kCalibrationKey, json);
}

void HeadphoneCalibration::restoreCalibration() {
    const auto record = decodeHeadphoneCalibrationStorage(calibrationStore());
    if (!record) {
        return;
    }
    calibration = {.x = record->calibrationX,
                   .y = record->calibrationY,
                   .z = record->calibrationZ,
                   .w = record->calibrationW};
    idleQuaternion = {
        .x = record->idleX, .y = record->idleY, .z = record->idleZ, .w = record->idleW};
}

void HeadphoneCalibration::storeCalibration() {
    const auto json = encode({.calibrationW = calibration.w,
                              .calibrationX = calibration.x,
                              .calibrationY = calibration.y,
                              .calibrationZ = calibration.z,
                              .idleW = idleQuaternion.w,
                              .idleX = idleQuaternion.x,
                              .idleY = idleQuaternion.y,
                              .idleZ = idleQuaternion.z});
    if (json) {
        setCalibrationStore(*json);
    }
}

CMQuaternion HeadphoneCalibration::apply(const CMQuaternion& attitude) const {
    const CMQuaternion relative = idleQuaternion * attitude;
    return conjugate(calibration) * relative * calibration;
}

}  // namespace velmaro
