// Port extension and fixture (de-)embedding of a channel's corrected data.
#pragma once

#include "network_parameters.h"
#include "vna_stimulus.h"

class VNAPortExtension
{
public:
    void Clear() { enabled = false; }
    bool Enabled() const { return enabled; }
    void ApplyPortExtension(SParameters&, const VNAStimulus&) const {}

private:
    bool enabled = false;
};

class VNADeembed
{
public:
    void Clear() { enabled = false; }
    bool Enabled() const { return enabled; }
    void Deembed(SParameters&, const VNAStimulus&) const {}
    void Embed(SParameters&, const VNAStimulus&) const {}

private:
    bool enabled = false;
};
