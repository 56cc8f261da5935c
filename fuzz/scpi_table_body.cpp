// A stand-in for the command bodies: reads each matched command's parameters with the readers
// its table row names, in order, and answers queries with what it read. Every reader of the
// parser, the word tables and the reply formatting are reached this way.
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>
#include <complex>
#include <vector>

#include "scpi_body.h"
#include "scpi_def.h"
#include "scpi_parameters.h"

namespace
{
enum class Reader
{
    Bool,
    Int,
    Double,
    Freq,
    Time,
    FileName,
    Word,
    Text,
    Groups,
    Suffix
};

// One row's parameter column to the readers a body would use.
QVector<Reader> ReadersFor(const QString& column)
{
    QVector<Reader> readers;
    const QString first = column.section(QLatin1Char(';'), 0, 0).trimmed();
    if (first.isEmpty() || first.startsWith(QLatin1String("none")) ||
        first.startsWith(QLatin1String("unreachable")))
    {
        return readers;
    }
    if (first.startsWith(QLatin1String("groups of")))
    {
        return {Reader::Groups};
    }
    // A list of words is one parameter, read as text and looked up.
    if (first.contains(QLatin1String(" or ")) && !first.startsWith(QLatin1String("file name")))
    {
        return {Reader::Word};
    }
    for (QString item : first.split(QLatin1Char(',')))
    {
        item = item.trimmed();
        if (item.startsWith(QLatin1String("bool")))
            readers.append(Reader::Bool);
        else if (item.startsWith(QLatin1String("int")))
            readers.append(Reader::Int);
        else if (item.startsWith(QLatin1String("double")))
            readers.append(Reader::Double);
        else if (item.startsWith(QLatin1String("frequency")))
            readers.append(Reader::Freq);
        else if (item.startsWith(QLatin1String("time")))
            readers.append(Reader::Time);
        else if (item.contains(QLatin1String("file name")))
            readers.append(Reader::FileName);
        else if (item.startsWith(QLatin1String("port suffix")))
            readers.append(Reader::Suffix);
        else
            readers.append(Reader::Text);
    }
    return readers;
}

// Every word table, as a body of the matching command would consult one of them.
void LookUpWord(Scpi* scpi, int id)
{
    switch (id % 8)
    {
        case 0:
        {
            VNATraceMeas meas;
            scpiParameterToMeas(scpi, meas);
            break;
        }
        case 1:
        {
            VNATraceFormat format;
            scpiParameterToTraceFormat(scpi, format);
            break;
        }
        case 2:
        {
            int v = 0;
            scpiParameterToTraceMathOp(scpi, v);
            break;
        }
        case 3:
        {
            VNASweepType type;
            scpiParameterToSweepType(scpi, type);
            break;
        }
        case 4:
        {
            VNAPowerConfig config;
            scpiParameterToPowerConfig(scpi, config);
            break;
        }
        case 5:
        {
            VNASweepMode::Mode mode;
            scpiParameterToSweepMode(scpi, mode);
            break;
        }
        case 6:
        {
            int v = 0;
            scpiParameterToTransformWindow(scpi, v);
            break;
        }
        default:
        {
            QString text;
            if (scpi->GetNextParameterString(text, true))
            {
                bool ok = false;
                ScpiParamToErrTerm(text, ok);
                int v = 0;
                stringToMarkerFunction(text, v);
                stringToGateShape(text, v);
                stringToTransformUnits(text, v);
                VNAReference reference;
                stringToReference(text, reference);
            }
            break;
        }
    }
}

void RunRow(Scpi* scpi, const QVector<Reader>& readers, bool query)
{
    int suffix = 0;
    while (scpi->GetNextCommandSuffix(suffix, 1))
    {
    }
    QVector<double> numbers;
    for (Reader reader : readers)
    {
        double d = 0.0;
        switch (reader)
        {
            case Reader::Bool:
            {
                bool b = false;
                if (scpi->GetNextParameterBool(b))
                    numbers.append(b ? 1 : 0);
                break;
            }
            case Reader::Int:
            {
                int i = 0;
                if (scpi->GetNextParameterInt(i))
                    numbers.append(i);
                break;
            }
            case Reader::Double:
                if (scpi->IsNextParameterMin() || scpi->IsNextParameterMax())
                {
                    QString word;
                    scpi->GetNextParameterString(word, true);
                }
                else if (scpi->GetNextParameterDouble(d))
                    numbers.append(d);
                break;
            case Reader::Freq:
                if (scpi->IsNextParameterUp() || scpi->IsNextParameterDown())
                {
                    QString word;
                    scpi->GetNextParameterString(word, true);
                }
                else if (scpi->GetNextParameterFreq(d))
                    numbers.append(d);
                break;
            case Reader::Time:
                if (scpi->GetNextParameterTime(d))
                    numbers.append(d);
                break;
            case Reader::FileName:
            {
                QString name;
                scpi->GetNextParameterFileName(name);
                break;
            }
            case Reader::Word:
                LookUpWord(scpi, scpi->GetCommandId());
                break;
            case Reader::Text:
            {
                QString text;
                scpi->GetNextParameterString(text, false);
                break;
            }
            case Reader::Groups:
                while (scpi->ParameterCount() > 0 && scpi->GetNextParameterDouble(d))
                    numbers.append(d);
                break;
            case Reader::Suffix:
                break;
        }
    }
    // What is left: the readers no row names, so they are reached too.
    if (scpi->ParameterCount() > 0)
    {
        std::vector<unsigned char> block;
        QString hex;
        if (!scpi->GetNextParameterBinary(block))
            scpi->GetNextParameterHexString(hex);
        scpi->GetIntParameters();
    }
    if (!query)
        return;
    switch (numbers.size())
    {
        case 0:
            scpi->SubmitReply(scpi->GetCommandId());
            break;
        case 1:
            scpi->SubmitReply(numbers[0]);
            break;
        case 2:
            scpi->SubmitReply(QVector<std::complex<double>>{{numbers[0], numbers[1]}});
            break;
        default:
            scpi->SubmitReply(numbers, numbers);
            break;
    }
}
}  // namespace

std::function<void(Scpi*)> MakeScpiFuzzBody()
{
    QHash<int, QVector<Reader>> readers;
    QHash<int, bool> queries;
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& row = scpiCommands[i];
        readers.insert(row.id, ReadersFor(QString::fromUtf8(row.parameters)));
        queries.insert(row.id, QByteArray(row.pattern).endsWith('?'));
    }
    return [readers, queries](Scpi* scpi)
    {
        const int id = scpi->GetCommandId();
        RunRow(scpi, readers.value(id), queries.value(id));
    };
}
