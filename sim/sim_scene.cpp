#include "sim_scene.h"

#include <QString>
#include <cctype>
#include <cstdlib>
#include <sstream>

#include "touchstone.h"

namespace vnasim
{
namespace
{
// Fringing of an unterminated connector.
constexpr double kOpenEndCapacitance = 25e-15;
// The sliding element's reflection and the extra delay each position adds, there and back.
constexpr double kSlidingReflection = 0.02;
constexpr double kSlidingStep = 15e-12;
constexpr double kSlidingBase = 40e-12;

bool ParseNumber(const std::string& text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && end != text.c_str() && *end == '\0' && std::isfinite(value);
}

std::string Number(double v)
{
    std::ostringstream s;
    s << v;
    return s.str();
}

// Reads "key value" pairs of a kit standard from words[from...].
bool ParseStandard(const std::vector<std::string>& words, size_t from, KitStandard& s,
                   std::string& error)
{
    for (size_t i = from; i < words.size(); i += 2)
    {
        if (i + 1 >= words.size())
        {
            error = "missing value after " + words[i];
            return false;
        }
        double v = 0.0;
        if (!ParseNumber(words[i + 1], v))
        {
            error = "bad number " + words[i + 1];
            return false;
        }
        const std::string& k = words[i];
        if (k == "delay")
        {
            s.delay = v;
        }
        else if (k == "loss")
        {
            s.loss = v;
        }
        else if (k == "z0")
        {
            if (v <= 0.0)
            {
                error = "z0 must be positive";
                return false;
            }
            s.z0 = v;
        }
        else if (k.size() == 2 && (k[0] == 'c' || k[0] == 'l') && k[1] >= '0' && k[1] <= '3')
        {
            (k[0] == 'c' ? s.c : s.l)[k[1] - '0'] = v;
        }
        else
        {
            error = "unknown parameter " + k;
            return false;
        }
    }
    return true;
}
// Reads a Touchstone file for the scene: a device between the ports or a port's reflection.
bool LoadTouchstone(const std::string& path, std::shared_ptr<const TouchstoneDut>& out,
                    std::string& error)
{
    auto d = std::make_shared<TouchstoneDut>();
    QString message;
    if (!LoadS2PFile(QString::fromStdString(path), true, d->freqs, d->data, message))
    {
        error = "cannot load " + path + ": " + message.toStdString();
        return false;
    }
    out = d;
    return true;
}
}  // namespace

std::vector<std::string> SplitCommand(const std::string& line)
{
    std::vector<std::string> words;
    std::istringstream in(line);
    std::string w;
    while (in >> w)
    {
        words.push_back(w);
    }
    // Everything is case-insensitive but a file name after "dut" or "data".
    for (size_t i = 0; i < words.size(); ++i)
    {
        const bool fileName = i > 0 && (words[i - 1] == "dut" || words[i - 1] == "data");
        if (!fileName)
        {
            for (char& c : words[i])
            {
                c = char(std::tolower(static_cast<unsigned char>(c)));
            }
        }
    }
    return words;
}

cplx PortTermination::Reflection(double f) const
{
    switch (kind)
    {
        case Short:
            return -1.0;
        case Open:
            return 1.0;
        case Load:
            return 0.0;
        case Sliding:
            return std::polar(kSlidingReflection,
                              -2.0 * kTwoPi * f * (kSlidingBase + slide * kSlidingStep));
        case Kit:
            return standard.Reflection(f);
        case Data:
            return data && !data->freqs.isEmpty() ? InterpolateArray(data->freqs, data->data.S11, f)
                                                  : cplx(0.0);
        case Nothing:
        default:
        {
            const cplx z = 1.0 / cplx(0.0, kTwoPi * f * kOpenEndCapacitance);
            return (z - 50.0) / (z + 50.0);
        }
    }
}

std::string PortTermination::Describe() const
{
    switch (kind)
    {
        case Short:
            return "short";
        case Open:
            return "open";
        case Load:
            return "load";
        case Sliding:
            return "sliding " + std::to_string(slide);
        case Kit:
            return standard.kind == KitStandard::Short  ? "kit short"
                   : standard.kind == KitStandard::Open ? "kit open"
                                                        : "kit load";
        case Data:
            return "data " + dataPath;
        case Nothing:
        default:
            return "nothing";
    }
}

SMatrix Scene::At(double f) const
{
    SMatrix s{};
    switch (mode)
    {
        case ThruBetween:
            return thru.ThruMatrix(f);
        case DutBetween:
            if (dut && !dut->freqs.isEmpty())
            {
                s.s11 = InterpolateArray(dut->freqs, dut->data.S11, f);
                s.s21 = InterpolateArray(dut->freqs, dut->data.S21, f);
                s.s12 = InterpolateArray(dut->freqs, dut->data.S12, f);
                s.s22 = InterpolateArray(dut->freqs, dut->data.S22, f);
            }
            return s;
        case Terminations:
        default:
            s.s11 = port[0].Reflection(f);
            s.s22 = port[1].Reflection(f);
            return s;
    }
}

std::string Scene::Describe() const
{
    switch (mode)
    {
        case ThruBetween:
            return "thru delay " + Number(thru.delay) + " loss " + Number(thru.loss) + " z0 " +
                   Number(thru.z0);
        case DutBetween:
            return "dut " + dutPath;
        case Terminations:
        default:
            return "port 1 " + port[0].Describe() + ", port 2 " + port[1].Describe();
    }
}

bool Scene::Apply(const std::vector<std::string>& w, bool& handled, std::string& error)
{
    handled = true;
    if (w.empty())
    {
        handled = false;
        return false;
    }
    if (w[0] == "disconnect" && w.size() == 1)
    {
        *this = Scene();
        return true;
    }
    if ((w[0] == "load" || w[0] == "connect") && w.size() >= 2 && w[1] == "dut")
    {
        if (w.size() != 3)
        {
            error = "usage: load dut FILE";
            return false;
        }
        std::shared_ptr<const TouchstoneDut> d;
        if (!LoadTouchstone(w[2], d, error))
        {
            return false;
        }
        dut = d;
        dutPath = w[2];
        mode = DutBetween;
        return true;
    }
    if (w[0] != "connect")
    {
        handled = false;
        return false;
    }
    if (w.size() >= 2 && w[1] == "thru")
    {
        KitStandard t;
        t.kind = KitStandard::Thru;
        if (!ParseStandard(w, 2, t, error))
        {
            return false;
        }
        thru = t;
        mode = ThruBetween;
        return true;
    }
    if (w.size() < 4 || w[1] != "port" || (w[2] != "1" && w[2] != "2"))
    {
        error = "usage: connect port 1|2 nothing|short|open|load|sliding K|kit TYPE ...|data FILE";
        return false;
    }
    PortTermination t;
    const std::string& what = w[3];
    size_t used = 4;
    if (what == "nothing")
    {
        t.kind = PortTermination::Nothing;
    }
    else if (what == "short")
    {
        t.kind = PortTermination::Short;
    }
    else if (what == "open")
    {
        t.kind = PortTermination::Open;
    }
    else if (what == "load")
    {
        t.kind = PortTermination::Load;
    }
    else if (what == "sliding")
    {
        double k = 0.0;
        if (w.size() < 5 || !ParseNumber(w[4], k) || k < 0.0 || k > 1000.0 || k != std::floor(k))
        {
            error = "sliding needs a position 0 to 1000";
            return false;
        }
        t.kind = PortTermination::Sliding;
        t.slide = int(k);
        used = 5;
    }
    else if (what == "data")
    {
        if (w.size() != 5)
        {
            error = "data needs a Touchstone file";
            return false;
        }
        t.kind = PortTermination::Data;
        if (!LoadTouchstone(w[4], t.data, error))
        {
            return false;
        }
        t.dataPath = w[4];
        used = 5;
    }
    else if (what == "kit")
    {
        if (w.size() < 5)
        {
            error = "kit needs short, open or load";
            return false;
        }
        t.kind = PortTermination::Kit;
        if (w[4] == "short")
        {
            t.standard.kind = KitStandard::Short;
        }
        else if (w[4] == "open")
        {
            t.standard.kind = KitStandard::Open;
        }
        else if (w[4] == "load")
        {
            t.standard.kind = KitStandard::Load;
        }
        else
        {
            error = "kit needs short, open or load";
            return false;
        }
        if (!ParseStandard(w, 5, t.standard, error))
        {
            return false;
        }
        used = w.size();
    }
    else
    {
        error = "unknown termination " + what;
        return false;
    }
    if (used != w.size())
    {
        error = "unexpected " + w[used];
        return false;
    }
    // Connecting a termination to one port takes any two-port off first.
    if (mode != Terminations)
    {
        mode = Terminations;
        port[0] = port[1] = PortTermination();
    }
    port[w[2] == "1" ? 0 : 1] = t;
    return true;
}
}  // namespace vnasim
