#include "shell/Translations.h"

// The texts of joining: by invite code, by link, and the empty list's prompt.
// Same form as the main table: the English text, then German, French and Spanish.
namespace {

// clang-format off
constexpr TranslationRow rows[] = {
    {"Join another conversation",
     "Einer weiteren Unterhaltung beitreten",
     "Rejoindre une autre conversation",
     "Unirse a otra conversación"},
    {"Enter your invite code",
     "Gib deinen Einladungscode ein",
     "Saisissez votre code d'invitation",
     "Introduce tu código de invitación"},
    {"Join a conversation you were invited to — ask whoever invited you for the code.",
     "Tritt einer Unterhaltung bei, zu der du eingeladen wurdest — frag die Person, die dich eingeladen hat, nach dem Code.",
     "Rejoignez une conversation à laquelle vous avez été invité — demandez le code à la personne qui vous a invité.",
     "Únete a una conversación a la que te invitaron: pide el código a quien te invitó."},
    {"Join conversation",
     "Unterhaltung beitreten",
     "Rejoindre la conversation",
     "Unirse a la conversación"},
    {"Join a conversation",
     "Einer Unterhaltung beitreten",
     "Rejoindre une conversation",
     "Unirse a una conversación"},
    {"Couldn't load the invite. Try again in a moment.",
     "Die Einladung konnte nicht geladen werden. Versuch es gleich noch einmal.",
     "Impossible de charger l'invitation. Réessayez dans un instant.",
     "No se pudo cargar la invitación. Inténtalo de nuevo en un momento."},
    {"Couldn't change the invite. Try again in a moment.",
     "Die Einladung konnte nicht geändert werden. Versuch es gleich noch einmal.",
     "Impossible de modifier l'invitation. Réessayez dans un instant.",
     "No se pudo cambiar la invitación. Inténtalo de nuevo en un momento."},
    {"Not now",
     "Jetzt nicht",
     "Pas maintenant",
     "Ahora no"},
};
// clang-format on

} // namespace

std::span<const TranslationRow> joinTranslationRows() {
    return rows;
}
