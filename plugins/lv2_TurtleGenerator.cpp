// Writes the Turtle description of the LV2 bundle from the engine's own
// parameter queries: names, units, ranges, defaults and display texts; and
// the factory presets of q38's table as LV2 presets.
//
// Usage: q38_lv2_turtle <bundle directory> <plugin binary file name>
//                       <license URI> <minor version> <micro version>
// Writes manifest.ttl, q38.ttl and presets.ttl into the bundle directory.

#include "Q38Engine.h"
#include "cli_FactoryPresets.h"
#include "cli_Parameters.h"
#include "host_OversampledEngine.h"
#include "lv2_PortTable.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

constexpr const char* kPrefixes =
    "@prefix doap:  <http://usefulinc.com/ns/doap#> .\n"
    "@prefix lv2:   <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix pset:  <http://lv2plug.in/ns/ext/presets#> .\n"
    "@prefix rdf:   <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
    "@prefix rdfs:  <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n\n";

struct PluginVariant
{
    const char* mUri;
    const char* mName;
    int mNumChannels;
    const char* mAudioPorts[4][2]; // symbol and name of the inputs, then the outputs
};

constexpr PluginVariant kVariants[] = {
    {lv2::kStereoPluginUri, "Q38 Tube Preamp", 2,
     {{"in_l", "Left In"}, {"in_r", "Right In"}, {"out_l", "Left Out"}, {"out_r", "Right Out"}}},
    {lv2::kMonoPluginUri, "Q38 Tube Preamp (Mono)", 1, {{"in", "In"}, {"out", "Out"}}},
};

std::string quoted(const std::string& inText)
{
    std::string result = "\"";
    for (const char c : inText) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

// The shortest text that reads back as the same float, as a Turtle decimal.
std::string number(float inValue)
{
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof(buffer), inValue).ptr;
    std::string text(buffer, end);
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text;
}

std::string unitNode(const std::string& inUnit)
{
    if (inUnit == "dB")
        return "units:db";
    return "[ a units:Unit ; rdfs:label " + quoted(inUnit) + " ; units:symbol " + quoted(inUnit) +
           " ; units:render " + quoted("%f " + inUnit) + " ]";
}

// The lines every port has.
void writePortHead(std::ostream& ioOut, const char* inClasses, int inIndex, const std::string& inSymbol,
                   const std::string& inName)
{
    ioOut << "        a " << inClasses << " ;\n"
          << "        lv2:index " << inIndex << " ;\n"
          << "        lv2:symbol " << quoted(inSymbol) << " ;\n"
          << "        lv2:name " << quoted(inName) << " ;\n";
}

void writeParameterPort(std::ostream& ioOut, int inId, const lv2::ParameterPort& inPort)
{
    writePortHead(ioOut, "lv2:InputPort , lv2:ControlPort", inId, lv2::kParameterSymbols[inId], inPort.mName);
    if (inId == kEnableEffect)
        ioOut << "        lv2:designation lv2:enabled ;\n";
    switch (inPort.mKind) {
    case lv2::PortKind::kContinuous:
        ioOut << "        units:unit " << unitNode(inPort.mUnit) << " ;\n"
              << "        lv2:default " << number(inPort.mDefault) << " ;\n"
              << "        lv2:minimum " << number(inPort.mMinimum) << " ;\n"
              << "        lv2:maximum " << number(inPort.mMaximum) << " ;\n";
        break;
    case lv2::PortKind::kToggle:
    case lv2::PortKind::kEnumeration:
        ioOut << "        lv2:portProperty "
              << (inPort.mKind == lv2::PortKind::kToggle ? "lv2:toggled" : "lv2:integer , lv2:enumeration") << " ;\n"
              << "        lv2:default " << static_cast<int>(inPort.mDefault) << " ;\n"
              << "        lv2:minimum " << static_cast<int>(inPort.mMinimum) << " ;\n"
              << "        lv2:maximum " << static_cast<int>(inPort.mMaximum) << " ;\n"
              << "        lv2:scalePoint";
        for (int s = 0; s < inPort.mNumStates; ++s)
            ioOut << (s == 0 ? " " : " ,\n            ") << "[ rdfs:label " << quoted(inPort.mStateTexts[s])
                  << " ; rdf:value " << s << " ]";
        ioOut << " ;\n";
        break;
    }
}

void writePlugin(std::ostream& ioOut, const PluginVariant& inVariant, const lv2::ParameterPort (&inPorts)[kNumParameters],
                 const std::string& inLicense, const std::string& inMinor, const std::string& inMicro)
{
    ioOut << "<" << inVariant.mUri << ">\n"
          << "    a lv2:Plugin , lv2:SimulatorPlugin ;\n"
          << "    doap:name " << quoted(inVariant.mName) << " ;\n"
          << "    doap:license <" << inLicense << "> ;\n"
          << "    lv2:minorVersion " << inMinor << " ;\n"
          << "    lv2:microVersion " << inMicro << " ;\n"
          << "    lv2:optionalFeature lv2:hardRTCapable ;\n"
          << "    lv2:port [\n";
    for (int id = 0; id < kNumParameters; ++id) {
        writeParameterPort(ioOut, id, inPorts[id]);
        ioOut << "    ] , [\n";
    }
    for (int m = 0; m < kNumMeters; ++m) {
        writePortHead(ioOut, "lv2:OutputPort , lv2:ControlPort", lv2::kFirstMeterPort + m, lv2::kMeterSymbols[m],
                      lv2::kMeterNames[m]);
        ioOut << "        lv2:minimum 0.0 ;\n"
              << "        lv2:maximum 1.0 ;\n"
              << "    ] , [\n";
    }
    const int numAudioPorts = 2 * inVariant.mNumChannels;
    for (int p = 0; p < numAudioPorts; ++p) {
        const char* classes = p < inVariant.mNumChannels ? "lv2:InputPort , lv2:AudioPort" : "lv2:OutputPort , lv2:AudioPort";
        writePortHead(ioOut, classes, lv2::kFirstAudioPort + p, inVariant.mAudioPorts[p][0], inVariant.mAudioPorts[p][1]);
        ioOut << "    ] , [\n";
    }
    const int channels = inVariant.mNumChannels;
    writePortHead(ioOut, "lv2:InputPort , lv2:ControlPort", lv2::oversamplingPort(channels), lv2::kOversamplingSymbol,
                  lv2::kOversamplingName);
    ioOut << "        lv2:portProperty lv2:connectionOptional , lv2:integer , lv2:enumeration ;\n"
          << "        lv2:default 1 ;\n"
          << "        lv2:minimum 1 ;\n"
          << "        lv2:maximum " << host::kHighestOversamplingFactor << " ;\n"
          << "        lv2:scalePoint";
    for (const int factor : host::kOversamplingFactors)
        ioOut << (factor == 1 ? " " : " ,\n            ") << "[ rdfs:label \"" << factor << "x\" ; rdf:value " << factor
              << " ]";
    ioOut << " ;\n    ] , [\n";
    // The resamplers' delay at the factor used: the highest factor's is the
    // most, at any rate.
    writePortHead(ioOut, "lv2:OutputPort , lv2:ControlPort", lv2::latencyPort(channels), lv2::kLatencySymbol,
                  lv2::kLatencyName);
    ioOut << "        lv2:designation lv2:latency ;\n"
          << "        lv2:portProperty lv2:connectionOptional , lv2:reportsLatency , lv2:integer ;\n"
          << "        units:unit units:frame ;\n"
          << "        lv2:minimum 0 ;\n"
          << "        lv2:maximum " << host::oversamplingLatency(host::kHighestOversamplingFactor) << " ;\n"
          << "    ] .\n";
}

// A preset's URI: the plugin's kind and the preset's word.
std::string presetUri(const PluginVariant& inVariant, const cli::FactoryPreset& inPreset)
{
    return std::string("urn:q38:preset:") + (inVariant.mNumChannels == 2 ? "stereo:" : "mono:") + inPreset.mWord;
}

bool offers(const PluginVariant& inVariant, const cli::FactoryPreset& inPreset)
{
    return inVariant.mNumChannels == 2 || !inPreset.mStereoOnly;
}

// The port values of a preset, each one that the plugin turns back into
// exactly the engine value q38 sets, so both render the same samples.
// Returns the reason when a value has no such port value.
const char* presetPortValues(Q38Engine& inEngine, const lv2::ParameterPort (&inPorts)[kNumParameters],
                             const cli::ParameterValues& inValues, float (&outPortValues)[kNumParameters])
{
    for (int id = 0; id < kNumParameters; ++id) {
        const lv2::ParameterPort& port = inPorts[id];
        const float value = inValues[static_cast<std::size_t>(id)];
        float portValue = -1.0f;
        if (port.mKind == lv2::PortKind::kContinuous)
            portValue = inEngine.getPhysicalValue(id, value);
        for (int s = 0; s < port.mNumStates; ++s)
            if (port.mStateValues[s] == value)
                portValue = static_cast<float>(s);
        if (!(portValue >= port.mMinimum && portValue <= port.mMaximum) || lv2::portToNormalized(port, portValue) != value)
            return "a preset value has no port value that the plugin maps back to it";
        outPortValues[id] = portValue;
    }
    return nullptr;
}

void writePreset(std::ostream& ioOut, const PluginVariant& inVariant, const cli::FactoryPreset& inPreset,
                 const float (&inPortValues)[kNumParameters])
{
    ioOut << "<" << presetUri(inVariant, inPreset) << ">\n"
          << "    a pset:Preset ;\n"
          << "    lv2:appliesTo <" << inVariant.mUri << "> ;\n"
          << "    rdfs:label " << quoted(inPreset.mName) << " ;\n"
          << "    rdfs:comment " << quoted(inPreset.mPurpose) << " ;\n"
          << "    lv2:port ";
    for (int id = 0; id < kNumParameters; ++id)
        ioOut << (id ? " ,\n             " : "") << "[ lv2:symbol " << quoted(lv2::kParameterSymbols[id]) << " ; pset:value "
<< number(inPortValues[id]) << " ]";
    ioOut << " .\n\n";
}

bool writeFile(const std::string& inPath, const std::string& inText)
{
    std::ofstream out(inPath, std::ios::binary | std::ios::trunc);
    out << inText;
    out.close();
    if (!out) {
        std::cerr << "q38_lv2_turtle: cannot write " << inPath << "\n";
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::cerr << "usage: q38_lv2_turtle <bundle directory> <binary> <license URI> <minor> <micro>\n";
        return 2;
    }
    const std::string bundle = argv[1];
    const std::string binary = argv[2];
    const std::string license = argv[3];

    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    lv2::ParameterPort ports[kNumParameters];
    for (int id = 0; id < kNumParameters; ++id) {
        if (const char* failure = lv2::describeParameter(*engine, id, ports[id])) {
            std::cerr << "q38_lv2_turtle: parameter " << id << ": " << failure << "\n";
            return 1;
        }
    }

    std::ostringstream plugins;
    plugins << kPrefixes;
    for (const PluginVariant& variant : kVariants) {
        writePlugin(plugins, variant, ports, license, argv[4], argv[5]);
        plugins << "\n";
    }

    std::ostringstream manifest;
    manifest << kPrefixes;
    for (const PluginVariant& variant : kVariants)
        manifest << "<" << variant.mUri << ">\n"
                 << "    a lv2:Plugin ;\n"
                 << "    lv2:binary <" << binary << "> ;\n"
                 << "    rdfs:seeAlso <q38.ttl> .\n\n";

    // The presets' values come from q38's own parameter table.
    const cli::ParameterTable table;
    std::ostringstream presets;
    presets << kPrefixes;
    for (const cli::FactoryPreset& preset : cli::factoryPresets()) {
        float portValues[kNumParameters];
        const cli::ParameterValues values = table.apply(table.parsePreset(preset.mSettings, preset.mWord));
        if (const char* failure = presetPortValues(*engine, ports, values, portValues)) {
            std::cerr << "q38_lv2_turtle: preset " << preset.mWord << ": " << failure << "\n";
            return 1;
        }
        for (const PluginVariant& variant : kVariants) {
            if (!offers(variant, preset))
                continue;
            writePreset(presets, variant, preset, portValues);
            manifest << "<" << presetUri(variant, preset) << ">\n"
                     << "    a pset:Preset ;\n"
                     << "    lv2:appliesTo <" << variant.mUri << "> ;\n"
                     << "    rdfs:seeAlso <presets.ttl> .\n\n";
        }
    }

    return writeFile(bundle + "/q38.ttl", plugins.str()) && writeFile(bundle + "/manifest.ttl", manifest.str()) &&
                   writeFile(bundle + "/presets.ttl", presets.str())
               ? 0
               : 1;
}
