// The estimator knows nothing of the sender.
#include "headpose/FaceDetector.h"
#include "osc/OSCManager.h"
