#include "updates/UpdateError.h"

namespace corvina {

namespace {

struct Texts {
    const char* user;
    const char* log;
};

Texts textsOf(UpdateError error) {
    switch (error) {
    case UpdateError::noFeed:
        return {"Für dieses Programm ist keine Update-Quelle eingerichtet.",
                "Адрес ленты обновлений не задан."};
    case UpdateError::insecureAddress:
        return {"Die Update-Adresse ist nicht sicher: Updates werden nur über https geladen.",
                "Небезопасный адрес обновления: "};
    case UpdateError::serverUnreachable:
        return {"Der Update-Server ist nicht erreichbar. Bitte prüfe die Internetverbindung.",
                "Сервер обновлений недоступен: "};
    case UpdateError::serverError:
        return {"Der Update-Server hat mit einem Fehler geantwortet: ",
                "Ошибка сервера обновлений: "};
    case UpdateError::feedMalformed:
        return {"Die Liste der Updates ist fehlerhaft und wurde nicht gelesen.",
                "Не удалось прочитать ленту обновлений."};
    case UpdateError::noPublicKey:
        return {"Dieses Programm enthält keinen Schlüssel zur Prüfung von Updates. Das Update "
                "wird nicht installiert.",
                "Нет открытого ключа для проверки обновлений."};
    case UpdateError::signatureMissing:
        return {"Das Update ist nicht signiert und wird nicht installiert.",
                "Обновление без подписи."};
    case UpdateError::signatureMalformed:
        return {"Die Signatur des Updates ist fehlerhaft. Das Update wird nicht installiert.",
                "Подпись обновления повреждена."};
    case UpdateError::signatureInvalid:
        return {"Die Signatur des Updates ist ungültig. Das Update wird nicht installiert.",
                "Подпись обновления недействительна."};
    case UpdateError::lengthMismatch:
        return {"Die Größe des geladenen Updates stimmt nicht mit der angekündigten überein. Das "
                "Update wird nicht installiert.",
                "Размер загрузки не совпадает: "};
    case UpdateError::installFailed:
        return {"Das Update konnte nicht installiert werden: ",
                "Не удалось установить обновление: "};
    }
    return {"", ""};
}

QString withDetail(const char* text, const QString& detail) {
    QString result = QString::fromUtf8(text);
    if (result.endsWith(u' ')) {
        result += detail;
    }
    return result.trimmed();
}

} // namespace

QString userText(UpdateError error, const QString& detail) {
    return withDetail(textsOf(error).user, detail);
}

QString logLine(UpdateError error, const QString& detail) {
    return withDetail(textsOf(error).log, detail);
}

} // namespace corvina
