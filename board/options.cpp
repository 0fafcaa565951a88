// SPDX-License-Identifier: GPL-3.0-or-later
#include "options.h"

#include "numbers.h"

#include <string_view>
#include <utility>

namespace Board {

namespace {

/// The arguments, read one after the other.
class Reader
{
public:
    explicit Reader(const std::vector<std::string> &arguments) : arguments_(arguments) {}

    bool AtEnd() const { return next_ == arguments_.size(); }

    /// The next option's name; a value written behind an equals sign is kept for Value().
    const std::string &Name()
    {
        name_ = arguments_[next_++];
        attached_.reset();
        const std::size_t equals = name_.find('=');
        if (name_.starts_with("--") && equals != std::string::npos) {
            attached_ = name_.substr(equals + 1);
            name_.resize(equals);
        }
        return name_;
    }

    std::string Value()
    {
        if (attached_)
            return *std::exchange(attached_, std::nullopt);
        if (AtEnd())
            throw OptionError{"l'option " + name_ + " attend une valeur"};
        return arguments_[next_++];
    }

    template <typename T>
    T Number(T least, T most)
    {
        const std::string text = Value();
        const auto value = ParseNumber<T>(text);
        if (!value || !(*value >= least && *value <= most))
            throw OptionError{"valeur « " + text + " » refusée pour " + name_};
        return *value;
    }

    void RefuseAttached() const
    {
        if (attached_)
            throw OptionError{"l'option " + name_ + " n'attend pas de valeur"};
    }

private:
    const std::vector<std::string> &arguments_;
    std::size_t next_ = 0;
    std::string name_;
    std::optional<std::string> attached_;
};

Chemistry ParseChemistry(const std::string &name)
{
    if (name == "nimh")
        return Chemistry::NiMh;
    if (name == "nicd")
        return Chemistry::NiCd;
    if (name == "lipo")
        return Chemistry::LiPo;
    throw OptionError{"chimie « " + name + " » inconnue (nimh, nicd ou lipo)"};
}

FaultRule ReadFault(const std::string &text)
{
    const auto rule = ParseFault(text);
    if (!rule)
        throw OptionError{"défaut « " + text + " » refusé"};
    return *rule;
}

/// Takes an option that describes the pack and the board; false when it is none of them.
bool TakeDeviceOption(const std::string &name, Reader &reader, Options &options)
{
    PackOptions &pack = options.device.pack;
    if (name == "--chemistry")
        pack.chemistry = ParseChemistry(reader.Value());
    else if (name == "--cells")
        pack.cells = reader.Number(1, 16);
    else if (name == "--capacity")
        pack.capacityAmpHours = reader.Number(50.0, 20000.0) / 1000;
    else if (name == "--soc")
        pack.stateOfCharge = reader.Number(0.0, 100.0) / 100;
    else if (name == "--temperature")
        pack.ambientCelsius = reader.Number(-5.0, 60.0);
    else if (name == "--resistance")
        pack.packResistanceOhms = reader.Number(1.0, 5000.0) / 1000;
    else if (name == "--rest-days")
        pack.restDays = reader.Number(0.0, 3650.0);
    else if (name == "--cycles")
        pack.cycles = reader.Number(0, 5000);
    else if (name == "--spread")
        pack.spread = reader.Number(0.0, 20.0) / 100;
    else if (name == "--seed")
        options.device.seed = reader.Number<std::uint64_t>(0, UINT64_MAX);
    else if (name == "--no-slave")
        options.device.slave = false;
    else if (name == "--booster")
        options.device.booster = true;
    else if (name == "--button")
        options.device.pressedButtons |= 1u << (reader.Number(1, Device::buttonCount) - 1);
    else
        return false;
    return true;
}

/// Takes an option about how the simulation runs; false when it is none of them.
bool TakeRunOption(const std::string &name, Reader &reader, Options &options)
{
    if (name == "--time-scale")
        options.timeScale = reader.Number(0.001, 100000.0);
    else if (name == "--pace")
        options.pace = true;
    else if (name == "--fault")
        options.faults.push_back(ReadFault(reader.Value()));
    else if (name == "--memory")
        options.memoryFile = reader.Value();
    else if (name == "--trace")
        options.traceFile = reader.Value();
    else if (name == "--replay")
        options.replayFile = reader.Value();
    else if (name == "--status")
        options.statusFile = reader.Value();
    else if (name == "--link")
        options.link = reader.Value();
    else if (name == "--stream-type")
        options.streamType = static_cast<std::uint8_t>(reader.Number(0, 255));
    else if (name == "--stream-rate")
        options.streamRate = reader.Number(0.001, 1000.0);
    else if (name == "--until-stdin-closes")
        options.untilStdinCloses = true;
    else if (name == "--help" || name == "-h")
        options.help = true;
    else
        return false;
    return true;
}

} // namespace

Options ParseOptions(const std::vector<std::string> &arguments)
{
    Options options;
    options.device.pack.cells = 0;
    Reader reader(arguments);
    while (!reader.AtEnd()) {
        const std::string name = reader.Name();
        if (!TakeDeviceOption(name, reader, options) && !TakeRunOption(name, reader, options))
            throw OptionError{"option inconnue : " + name};
        reader.RefuseAttached();
    }
    PackOptions &pack = options.device.pack;
    const CellPreset &preset = PresetOf(pack.chemistry);
    if (pack.cells == 0)
        pack.cells = preset.defaultCells;
    if (pack.cells > preset.mostCells)
        throw OptionError{"au plus " + std::to_string(preset.mostCells) + " éléments pour cette chimie"};
    return options;
}

std::string HelpText()
{
    return "Usage : virtual-board [options]\n"
           "\n"
           "Simule, sur un pseudo-terminal, la carte du chargeur et la batterie qui y est branchée.\n"
           "Le nom du port est écrit sur la sortie standard : « port /dev/pts/N ».\n"
           "\n"
           "Batterie\n"
           "  --chemistry nimh|nicd|lipo  chimie (nimh)\n"
           "  --cells N                   éléments en série (4 ; lipo : 3)\n"
           "  --capacity MAH              capacité nominale, 50 à 20000 mAh (2000)\n"
           "  --soc POURCENT              état de charge au départ, 0 à 100 (5)\n"
           "  --temperature DEGRES        température ambiante, -5 à 60 °C (25)\n"
           "  --resistance MILLIOHMS      résistance interne du pack (selon la chimie et le format)\n"
           "  --rest-days JOURS           jours de repos depuis la dernière utilisation, 0 à 3650 (0)\n"
           "  --cycles N                  charges et décharges déjà faites, 0 à 5000 (0)\n"
           "  --spread POURCENT           écart de capacité entre les éléments, 0 à 20 (0)\n"
           "\n"
           "Carte\n"
           "  --no-slave                  sans microcontrôleur esclave\n"
           "  --booster                   avec le booster (la commande 51 prend quatre octets)\n"
           "  --button N                  bouton poussoir enfoncé, 1 à 6 ; répétable\n"
           "  --memory FICHIER            garde les mémoires d'une fois sur l'autre\n"
           "  --stream-type N             octet « Type » des enregistrements, 0 à 255 (2)\n"
           "  --stream-rate R             enregistrements par seconde simulée (1)\n"
           "\n"
           "Simulation\n"
           "  --time-scale N              le temps simulé passe N fois plus vite (1)\n"
           "  --seed N                    graine du bruit, des défauts et des écarts entre éléments (1)\n"
           "  --pace                      cadence les octets à la vitesse réglée sur la ligne\n"
           "  --fault DEFAUT              défaut à injecter ; répétable :\n"
           "                                lost:p=P|at=N[,dir=in|out|both]    octet perdu\n"
           "                                added:p=P|at=N[,dir=in|out|both]   octet en trop\n"
           "                                late:p=P|at=N[,ms=MS]              octet en retard (300 ms)\n"
           "                                silence:p=P|at=N[,ms=MS]           carte muette (pour toujours)\n"
           "                                restart:p=P|at=N                   redémarrage\n"
           "                              p : probabilité par octet (par commande pour silence et restart)\n"
           "                              at : une fois, au N-ième octet (à la N-ième commande)\n"
           "\n"
           "Fichiers et fin\n"
           "  --link CHEMIN               lien symbolique vers le port, retiré à la fin\n"
           "  --trace FICHIER             trace de tous les octets de la ligne\n"
           "  --replay FICHIER            répond comme la carte de cette trace de Voltaire, sans rien simuler ;\n"
           "                              dit sur la sortie d'erreur où le programme demande autre chose\n"
           "  --status FICHIER            valeurs vraies, pour un appareil de mesure virtuel\n"
           "  --until-stdin-closes        s'arrête à la fin de l'entrée standard ; ses lignes commandent :\n"
           "                                button N    appuie sur le bouton N ou le relâche\n"
           "                                volts V     alimentation de laboratoire à la place de la batterie\n"
           "                                volts pack  remet la batterie\n"
           "                                ambient C   température ambiante\n"
           "  --help                      cette aide\n"
           "\n"
           "SIGUSR1 appuie sur le premier bouton ou le relâche ; SIGTERM et SIGINT arrêtent proprement.\n";
}

} // namespace Board
