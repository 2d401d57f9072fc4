// Writes the Turtle description of the LV2 bundle from the engine's own
// parameter queries: names, units, ranges, defaults and display texts.
//
// Usage: q38_lv2_turtle <bundle directory> <plugin binary file name>
//                       <license URI> <minor version> <micro version>
// Writes manifest.ttl and q38.ttl into the bundle directory.

#include "Q38Engine.h"
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
        ioOut << (p + 1 < numAudioPorts ? "    ] , [\n" : "    ] .\n");
    }
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

    return writeFile(bundle + "/q38.ttl", plugins.str()) && writeFile(bundle + "/manifest.ttl", manifest.str()) ? 0 : 1;
}
