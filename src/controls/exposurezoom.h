#pragma once

// What the running camera reports of its exposure compensation and zoom, as Qt Multimedia gives
// it: nothing offered until a back end says otherwise.
struct ExposureAndZoom
{
    bool compensationOffered = false;
    float compensation = 0.0f; // in exposure values
    float minimumZoom = 1.0f;
    float maximumZoom = 1.0f;
    float zoom = 1.0f;
};
