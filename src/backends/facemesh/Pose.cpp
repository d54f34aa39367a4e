#include "backends/facemesh/Pose.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmaro::facemesh {

double straightenedYaw(double yaw) {
    constexpr double kDegree = std::numbers::pi / 180;
    constexpr double kLinear = 0.967;
    constexpr double kCubic = 7.43e-5 / (kDegree * kDegree);
    return std::clamp(yaw * (kLinear + kCubic * yaw * yaw), -90 * kDegree, 90 * kDegree);
}

PoseEstimator::PoseEstimator(const CanonicalFace& face) {
    Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
    double total = 0;
    for (const CanonicalFace::Weight& weight : face.weights) {
        centroid += weight.weight * Eigen::Vector3d(face.points[weight.point].data());
        total += weight.weight;
    }
    centroid /= total;
    for (const CanonicalFace::Weight& weight : face.weights) {
        Reference reference;
        reference.point = weight.point;
        Eigen::Map<Eigen::Vector3d>(reference.arm.data()) =
            weight.weight * (Eigen::Vector3d(face.points[weight.point].data()) - centroid);
        references_.push_back(reference);
    }
}

/// The rotation of the orthogonal Procrustes problem; see Umeyama, "Least-squares estimation of
/// transformation parameters between two point patterns", 1991. Neither the scale nor the centroid
/// of the found points changes it.
Pose PoseEstimator::estimate(const FacePoints& points) const {
    Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();
    const FacePoint& origin = points[references_.front().point];
    for (const Reference& reference : references_) {
        const FacePoint& point = points[reference.point];
        // From picture axes (y down, z away) to those of the canonical face.
        const Eigen::Vector3d found(point.x - origin.x, origin.y - point.y, origin.z - point.z);
        covariance += found * Eigen::Map<const Eigen::Vector3d>(reference.arm.data()).transpose();
    }
    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(covariance,
                                                Eigen::ComputeFullU | Eigen::ComputeFullV);
    // Of the two best orthogonal matrices one may be a reflection, which no head makes.
    const double sign = (svd.matrixU() * svd.matrixV().transpose()).determinant() < 0 ? -1 : 1;
    const Eigen::Matrix3d rotation =
        svd.matrixU() * Eigen::Vector3d(1, 1, sign).asDiagonal() * svd.matrixV().transpose();

    // rotation = turn about y by yaw, about x by -pitch, about z by roll.
    Pose pose;
    pose.yaw = std::atan2(rotation(0, 2), rotation(2, 2));
    pose.pitch = std::asin(std::clamp(rotation(1, 2), -1.0, 1.0));
    pose.roll = std::atan2(rotation(1, 0), rotation(1, 1));
    return pose;
}

}  // namespace velmaro::facemesh
