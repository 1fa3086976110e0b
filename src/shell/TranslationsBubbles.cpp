#include "shell/Translations.h"

// The texts of message bubbles (files, pictures, reactions, receipts) and of
// the composer's pictures and files. Same form as the main table: the English
// text, then German, French and Spanish; "%@" counts match.
namespace {

// clang-format off
constexpr TranslationRow rows[] = {
    {"Send %@ Images",
     "%@ Bilder senden",
     "Envoyer %@ images",
     "Enviar %@ imágenes"},
    {"Send %@ Files",
     "%@ Dateien senden",
     "Envoyer %@ fichiers",
     "Enviar %@ archivos"},
    {"Forwarded from %@",
     "Weitergeleitet von %@",
     "Transféré de %@",
     "Reenviado de %@"},
    {"You",
     "Du",
     "Vous",
     "Tú"},
    {"This Mac",
     "Dieser Mac",
     "Ce Mac",
     "Este Mac"},
    {"New contact",
     "Neuer Kontakt",
     "Nouveau contact",
     "Nuevo contacto"},
    {"joined Velmarin",
     "ist jetzt bei Velmarin",
     "a rejoint Velmarin",
     "se unió a Velmarin"},
    {"Quality",
     "Qualität",
     "Qualité",
     "Calidad"},
    {"Compressed",
     "Komprimiert",
     "Compressée",
     "Comprimida"},
    {"Sending at original quality",
     "Wird in Originalqualität gesendet",
     "Envoi en qualité d'origine",
     "Se envía en calidad original"},
    {"Add a message…",
     "Nachricht hinzufügen…",
     "Ajouter un message…",
     "Añadir un mensaje…"},
    {"Paste",
     "Einfügen",
     "Coller",
     "Pegar"},
    {"Downloading…",
     "Wird geladen…",
     "Téléchargement…",
     "Descargando…"},
    {"Zoom in",
     "Vergrößern",
     "Agrandir",
     "Ampliar"},
    {"Zoom out",
     "Verkleinern",
     "Réduire",
     "Reducir"},
    {"Photo",
     "Foto",
     "Photo",
     "Foto"},
    {"Read by %@",
     "Gelesen von %@",
     "Lu par %@",
     "Leído por %@"},
    {"The file could not be written.",
     "Die Datei konnte nicht geschrieben werden.",
     "Le fichier n'a pas pu être écrit.",
     "No se pudo escribir el archivo."},
};
// clang-format on

} // namespace

std::span<const TranslationRow> bubbleTranslationRows() {
    return rows;
}
