// What the simulated instrument's ports see: a one-port termination on each port, or a
// two-port (thru or a device from a Touchstone file) between them.
#pragma once

#include <QVector>
#include <memory>
#include <string>
#include <vector>

#include "network_parameters.h"
#include "sim_model.h"

namespace vnasim
{
struct TouchstoneDut
{
    QVector<double> freqs;
    SParameters data;
};

struct PortTermination
{
    enum Kind
    {
        Nothing,
        Short,
        Open,
        Load,
        Sliding,
        Kit,
        Data
    };
    Kind kind = Nothing;
    int slide = 0;
    KitStandard standard;
    // Data: the reflection of a Touchstone file (its S11), interpolated as the device is.
    std::shared_ptr<const TouchstoneDut> data;
    std::string dataPath;

    cplx Reflection(double f) const;
    std::string Describe() const;
};

class Scene
{
public:
    enum Mode
    {
        Terminations,
        ThruBetween,
        DutBetween
    };

    SMatrix At(double f) const;
    std::string Describe() const;

    // Applies one scene command given as lower-case words. Returns false with error set when
    // the words are a scene command that cannot be applied; handled is false when they are not
    // a scene command at all.
    bool Apply(const std::vector<std::string>& words, bool& handled, std::string& error);

    Mode mode = Terminations;
    PortTermination port[2];
    KitStandard thru;  // Thru kind
    std::shared_ptr<const TouchstoneDut> dut;
    std::string dutPath;
};

// Splits a command line at blanks, lower-casing every word except file names.
std::vector<std::string> SplitCommand(const std::string& line);
}  // namespace vnasim
