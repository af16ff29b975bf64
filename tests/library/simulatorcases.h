// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

/// What the simulator promises, one promise a slot. The library reads its configuration once per process, so
/// every slot runs in a process of its own, in an empty working directory, under the configuration that
/// tst_simulator.cpp lists for it.
class SimulatorCases : public QObject {
    Q_OBJECT

private slots:
    // Configuration.
    void isFourCamerasByDefault();
    void readsTheFile();
    void variablesOverrideTheFile();
    void readsAnotherFile();
    void complainsAboutBadValues();
    void absurdModesAreRefused();
    void canHaveNoCamera();
    void canHaveEightCameras();

    // Scene and ground truth.
    void groundTruthJoinsTheRow();
    void groundTruthJoinsTheGrid();
    void groundTruthAgreesWithPictures();
    void showsAPictureFile();
    void showsTheChartForAMissingPicture();
    void moves();
    void standsStill();

    // Whole pictures.
    void picturesOfTheGrid();
    void picturesOfTheRow();
    void pictureInDetail();
    void picturesInMotion();
    void pictureWithNoise();
    void picturesOfTheParameters();

    // Noise.
    void noiseHasItsStrength();
    void noiseComesBack();
    void printsAFrame();  // for the comparison of seeds

    // Parameters.
    void outOfRangeIsBroughtIntoRange_data();
    void outOfRangeIsBroughtIntoRange();
    void choicesAreRefused();
    void notANumberChangesNothing();
    void lightMakesBrighter_data();
    void lightMakesBrighter();
    void gammaLiftsTheMiddle();
    void contrastSpreads();
    void blackLevelLiftsTheBlack();
    void saturationTakesTheColour();
    void mirrorsExchangeSides();
    void automaticsSettle_data();
    void automaticsSettle();
    void antiFlickerCalmsTheLight();
    void resolutionCountsFromTheNextFrame();
    void slotsKeepParameters();
    void slotsKeepEveryParameter();
    void tornSlotFileIsReported();
    void unwritableSlotIsReported();

    // Pacing.
    void keepsTheRate();
    void phaseDelaysTheBeat();
    void jitterMakesFramesLate();
    void highspeedDoublesTheRate();
    void delayAddsUp();
    void longExposureSlowsDown();
    void shotsAreRemembered();
    void shotInContinuousModeIsRefused();
    void timeoutCanChangeWhileWaiting();

    // Faults.
    void initFails();
    void noFrames();
    void everyThirdQueryFails();
    void cableComesBack();
    void sizeChangesByItself();
    void queriesAreSlow();
    void serialIsGarbage();

    // Robustness.
    void wrongIndexIsRefused();
    void closedCameraIsRefused();
    void nullIsRefused();
    void shortBufferIsLeftAlone();
    void freeEndsAQuery();
    void opensAndClosesUnderFire();
};
