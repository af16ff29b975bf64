// SPDX-License-Identifier: Apache-2.0
#include "library.h"

#include <QDebug>

#include <algorithm>

#include "discovery.h"
#include "network.h"

namespace kvgen {

namespace {

constexpr int kShown = 4;  // cameras at once, the first ones; more are seldom open

/// Of ours that send through the same interface while camera `index` does.
int neighboursOf(int index, const QVector<Found>& all) {
    int count = 0;
    for (int i = 0; i < all.size(); ++i)
        count += (i < kShown || i == index) && all[i].localAddress == all[index].localAddress ? 1 : 0;
    return count;
}

}  // namespace

Library& Library::instance() {
    static Library* const library = new Library(readConfiguration(configurationFile()));
    return *library;
}

Library::Library(const Configuration& configuration)
    : configurationName_(configuration.file.toUtf8()), known_(knownCamerasFile()) {
    const QVector<Found> all = findCameras(configuration);
    identities_.resize(all.size());
    int greatestBuffer = 0;
    for (int i = 0; i < all.size(); ++i) {
        Keeper::Place place;
        place.index = i;
        place.found = all[i];
        place.configuration = configuration.of(i);
        place.answerWithin = configuration.answerWithin;
        const bool isDiscovered = configuration.addresses.isEmpty();
        // Of several of one number another one would be found.
        place.isDiscovered = isDiscovered && std::count_if(all.begin(), all.end(), [&](const Found& other) {
                                                 return other.serial == all[i].serial;
                                             }) == 1;
        place.neighbours = neighboursOf(i, all);
        place.tellSerial = [this, i](const QByteArray& serial) { hasOpened(i, serial); };
        place.owner = [this, i] { return owner(i); };
        if (!all[i].address.isEmpty())
            greatestBuffer = std::max(greatestBuffer, place.configuration.socketBuffer);
        identities_[i].name = all[i].name;
        if (!isDiscovered) {
            const QByteArray& configured = place.configuration.serial;
            // Of a device's name a discovery has told it.
            Source source = all[i].serial.isEmpty() ? Source::LastRun : Source::Camera;
            if (source == Source::LastRun)
                place.found.serial = known_.serialOf(all[i].name);
            if (!configured.isEmpty()) {
                place.found.serial = configured;
                source = Source::Configuration;
            }
            setSerial(i, place.found.serial, source);
        } else {
            setSerial(i, all[i].serial, Source::Camera);
        }
        cameras_.push_back(std::make_unique<Camera>(std::move(place)));
    }
    const auto granted = largestSocketBuffer();
    if (granted && *granted < greatestBuffer)
        qWarning(
            "KVCap2: the system grants receive buffers of %lld bytes, %d are wanted; frames may be "
            "incomplete. "
            "Set it by: sysctl net.core.rmem_max=%d",
            static_cast<long long>(*granted), greatestBuffer, greatestBuffer);
}

Camera* Library::camera(int32_t index) const {
    return index >= 0 && index < count() ? cameras_[static_cast<size_t>(index)].get() : nullptr;
}

QByteArray Library::serial(int index) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return identities_.value(index).told;
}

QByteArray Library::owner(int index) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return identities_.value(index).owner;
}

/// The camera has said who it is.
void Library::hasOpened(int index, const QByteArray& serial) {
    QByteArray name;
    QSet<QByteArray> here;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Identity& identity = identities_[index];
        name = identity.name;
        if (identity.source == Source::Configuration) {
            if (distinctSerials({serial}) != distinctSerials({identity.serial}) && !identity.isContradicted)
                qWarning(
                    "KVCap2: camera %d at %s has the serial number %s; Serial in %s says %s, which stands. "
                    "Correct it, if this camera is meant",
                    index, name.constData(), serial.constData(), configurationName_.constData(),
                    identity.serial.constData());
            identity.isContradicted = true;
            return;
        }
        if (identity.source == Source::LastRun && !identity.serial.isEmpty() && identity.serial != serial)
            qWarning("KVCap2: camera %d (%s): now it is another camera, with the serial number %s", index,
                     identity.serial.constData(), serial.constData());
        // A camera that has moved to here is not where it was.
        for (Identity& other : identities_) {
            if (other.source == Source::LastRun && other.serial == serial && identity.serial != serial)
                other.serial.clear();
            if (other.source == Source::Camera)
                here.insert(other.name);
        }
    }
    setSerial(index, serial, Source::Camera);
    known_.remember(name, serial, here);
}

void Library::setSerial(int index, const QByteArray& serial, Source source) {
    const std::lock_guard<std::mutex> lock(mutex_);
    identities_[index].source = source;
    identities_[index].serial = serial;
    QVector<QByteArray> serials;
    for (const Identity& identity : qAsConst(identities_))
        serials.append(identity.serial);
    const QVector<QByteArray> told = distinctSerials(serials);
    const QVector<QByteArray> owners = distinctSerials(serials, kLongestSerial);
    for (int i = 0; i < told.size(); ++i) {
        Identity& identity = identities_[i];
        identity.owner = owners[i];
        if (std::exchange(identity.told, told[i]) != told[i] && !identity.serial.endsWith(told[i]))
            qWarning("KVCap2: camera %d has the serial number %s, as another one has; it is called %s", i,
                     identity.serial.constData(), told[i].constData());
    }
}

}  // namespace kvgen
