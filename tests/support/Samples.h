#pragma once

#include <QString>

namespace takebox::test {

/// The folder with DV samples from real devices: the environment variable TAKEBOX_SAMPLES, else the
/// usual place beside the checkout. Empty when there is none; tests then use generated material.
QString samplesFolder();

}  // namespace takebox::test
