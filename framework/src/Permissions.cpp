#include "pemo/Permissions.h"

namespace pemo {

Permissions::Permissions(bool all)
    : recordVideo(all), recordAudio(all), takePhoto(all), firePhotonTorpedos(all)
{
}

bool Permissions::check(const Permissions& required, const Permissions& held)
{
    return (!required.recordVideo || held.recordVideo) && (!required.recordAudio || held.recordAudio) &&
           (!required.takePhoto || held.takePhoto) && (!required.firePhotonTorpedos || held.firePhotonTorpedos);
}

bool Permissions::operator==(const Permissions& other) const
{
    return recordVideo == other.recordVideo && recordAudio == other.recordAudio && takePhoto == other.takePhoto &&
           firePhotonTorpedos == other.firePhotonTorpedos;
}

} // namespace pemo
