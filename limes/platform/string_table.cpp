#include "limes/platform/string_table.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace limes {

namespace {

struct Row {
  unsigned id;
  const char16_t* text[platform::kLanguages];
};

// By id; the columns in the order of Language. A unit of number n is named by 50 + n; the units
// after those have no name here.
constexpr Row kTexts[] = {
    {1,
     {u"Test step", u"Prüfzustand", u"Paso de prueba", u"Passo di prova", u"Passo de teste",
      u"Krok zkoušky", u"시험 단계", u"测试步骤"}},
    {2,
     {u"Instrument", u"Instrument", u"Instrumento", u"Strumento", u"Instrumento", u"Přístroj",
      u"계측기", u"仪器"}},
    {3, {u"Channel", u"Kanal", u"Canal", u"Canale", u"Canal", u"Kanál", u"채널", u"通道"}},
    {4, {u"Location", u"Objekt", u"Ubicación", u"Posizione", u"Local", u"Místo", u"위치", u"位置"}},
    {5,
     {u"Parameter", u"Parameter", u"Parámetro", u"Parametro", u"Parâmetro", u"Parametr",
      u"파라미터", u"参数"}},
    {6, {u"Sensor", u"Sensor", u"Sensor", u"Sensore", u"Sensor", u"Snímač", u"센서", u"传感器"}},
    {7, {u"Type", u"Typ", u"Tipo", u"Tipo", u"Tipo", u"Typ", u"유형", u"类型"}},
    {8,
     {u"Bench", u"Prüfstand", u"Banco", u"Banco", u"Bancada", u"Zkušební stav", u"시험대",
      u"试验台"}},
    {11,
     {u"Test steps", u"Prüfzustände", u"Pasos de prueba", u"Passi di prova", u"Passos de teste",
      u"Kroky zkoušky", u"시험 단계", u"测试步骤"}},
    {12,
     {u"Instruments", u"Instrumente", u"Instrumentos", u"Strumenti", u"Instrumentos", u"Přístroje",
      u"계측기", u"仪器"}},
    {13, {u"Channels", u"Kanäle", u"Canales", u"Canali", u"Canais", u"Kanály", u"채널", u"通道"}},
    {14,
     {u"Locations", u"Objekte", u"Ubicaciones", u"Posizioni", u"Locais", u"Místa", u"위치",
      u"位置"}},
    {15,
     {u"Parameters", u"Parameter", u"Parámetros", u"Parametri", u"Parâmetros", u"Parametry",
      u"파라미터", u"参数"}},
    {16,
     {u"Sensors", u"Sensoren", u"Sensores", u"Sensori", u"Sensores", u"Snímače", u"센서",
      u"传感器"}},
    {17, {u"Types", u"Typen", u"Tipos", u"Tipi", u"Tipos", u"Typy", u"유형", u"类型"}},
    {18,
     {u"Benches", u"Prüfstände", u"Bancos", u"Banchi", u"Bancadas", u"Zkušební stavy", u"시험대",
      u"试验台"}},
    {20, {u"rpm", u"U/min", u"rpm", u"giri/min", u"rpm", u"ot/min", u"rpm", u"转/分"}},
    {21, {u"rev", u"Umdr.", u"rev", u"giri", u"rot", u"ot", u"회전", u"转"}},
    {22, {u"ord", u"Ord.", u"ord", u"ord", u"ord", u"řád", u"차수", u"阶次"}},
    {23, {u"(all)", u"(alle)", u"(todos)", u"(tutti)", u"(todos)", u"(vše)", u"(전체)", u"(全部)"}},
    {50, {u"-", u"-", u"-", u"-", u"-", u"-", u"-", u"-"}},
    {51, {u"№", u"№", u"№", u"№", u"№", u"№", u"№", u"№"}},
    {52, {u"x", u"x", u"x", u"x", u"x", u"x", u"x", u"x"}},
    {53, {u"y", u"y", u"y", u"y", u"y", u"y", u"y", u"y"}},
    {54, {u"z", u"z", u"z", u"z", u"z", u"z", u"z", u"z"}},
    {55, {u"Force", u"Kraft", u"Fuerza", u"Forza", u"Força", u"Síla", u"힘", u"力"}},
    {56,
     {u"Percent", u"Prozent", u"Porcentaje", u"Percentuale", u"Percentagem", u"Procento", u"백분율",
      u"百分比"}},
    {57, {u"Time", u"Zeit", u"Tiempo", u"Tempo", u"Tempo", u"Čas", u"시간", u"时间"}},
    {58,
     {u"Frequency", u"Frequenz", u"Frecuencia", u"Frequenza", u"Frequência", u"Frekvence",
      u"주파수", u"频率"}},
    {59,
     {u"Rotational speed", u"Drehzahl", u"Velocidad de giro", u"Velocità di rotazione", u"Rotação",
      u"Otáčky", u"회전수", u"转速"}},
    {60,
     {u"Revolutions", u"Umdrehungen", u"Revoluciones", u"Giri", u"Rotações", u"Počet otáček",
      u"회전", u"转数"}},
    {61, {u"Order", u"Ordnung", u"Orden", u"Ordine", u"Ordem", u"Řád", u"차수", u"阶次"}},
    {62,
     {u"Voltage", u"Spannung", u"Tensión", u"Tensione", u"Tensão", u"Napětí", u"전압", u"电压"}},
    {63,
     {u"Sound pressure", u"Schalldruck", u"Presión sonora", u"Pressione sonora", u"Pressão sonora",
      u"Akustický tlak", u"음압", u"声压"}},
    {64,
     {u"Torque", u"Drehmoment", u"Par", u"Coppia", u"Torque", u"Krouticí moment", u"토크",
      u"扭矩"}},
    {65,
     {u"Temperature", u"Temperatur", u"Temperatura", u"Temperatura", u"Temperatura", u"Teplota",
      u"온도", u"温度"}},
    {66,
     {u"Acceleration", u"Beschleunigung", u"Aceleración", u"Accelerazione", u"Aceleração",
      u"Zrychlení", u"가속도", u"加速度"}},
    {67,
     {u"Acceleration", u"Beschleunigung", u"Aceleración", u"Accelerazione", u"Aceleração",
      u"Zrychlení", u"가속도", u"加速度"}},
    {68,
     {u"Distance", u"Weg", u"Distancia", u"Distanza", u"Distância", u"Dráha", u"거리", u"距离"}},
    {69, {u"Angle", u"Winkel", u"Ángulo", u"Angolo", u"Ângulo", u"Úhel", u"각도", u"角度"}},
    {70, {u"Angle", u"Winkel", u"Ángulo", u"Angolo", u"Ângulo", u"Úhel", u"각도", u"角度"}},
    {71,
     {u"Speed", u"Geschwindigkeit", u"Velocidad", u"Velocità", u"Velocidade", u"Rychlost", u"속도",
      u"速度"}},
    {72,
     {u"Speed", u"Geschwindigkeit", u"Velocidad", u"Velocità", u"Velocidade", u"Rychlost", u"속도",
      u"速度"}},
    {73,
     {u"Speed", u"Geschwindigkeit", u"Velocidad", u"Velocità", u"Velocidade", u"Rychlost", u"속도",
      u"速度"}},
    {74,
     {u"Angular velocity", u"Winkelgeschwindigkeit", u"Velocidad angular", u"Velocità angolare",
      u"Velocidade angular", u"Úhlová rychlost", u"각속도", u"角速度"}},
    {75,
     {u"Angular acceleration", u"Winkelbeschleunigung", u"Aceleración angular",
      u"Accelerazione angolare", u"Aceleração angular", u"Úhlové zrychlení", u"각가속도",
      u"角加速度"}},
    {76,
     {u"Current", u"Strom", u"Corriente", u"Corrente", u"Corrente", u"Proud", u"전류", u"电流"}},
    {77,
     {u"Per unit", u"Pro Stück", u"Por unidad", u"Per unità", u"Por unidade", u"Na kus", u"단위당",
      u"每单位"}},
    {78, {u"Pressure", u"Druck", u"Presión", u"Pressione", u"Pressão", u"Tlak", u"압력", u"压力"}},
    {79,
     {u"Date-Time", u"Datum-Zeit", u"Fecha y hora", u"Data e ora", u"Data e hora", u"Datum a čas",
      u"날짜-시간", u"日期时间"}},
};

constinit std::atomic<platform::Language> gLanguage = platform::Language::kEnglish;

}  // namespace

const char16_t* detail::LibraryText(unsigned id, platform::Language language) {
  const Row* const at =
      std::lower_bound(std::begin(kTexts), std::end(kTexts), id,
                       [](const Row& row, unsigned wanted) { return row.id < wanted; });
  const auto column = static_cast<unsigned>(language);
  return at != std::end(kTexts) && at->id == id && column < platform::kLanguages ? at->text[column]
                                                                                 : nullptr;
}

void platform::SetLanguage(Language language) { gLanguage = language; }

platform::Language platform::CurrentLanguage() { return gLanguage; }

}  // namespace limes
