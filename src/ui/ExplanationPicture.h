#pragma once

#include <QImage>

// The picture of the explanation window: two example strips of the observation picture on a
// dark background, with what they show. The strips are drawn by the trace itself from real
// I2C transfers, so the explanation always matches what the observation picture draws.
QImage explanationPicture();
