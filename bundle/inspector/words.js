// The words of the page, in each language that hosts have.
globalThis.kPageWords = {
  en: {
    label: "Key name",
    hint: "The name under which the simulator’s side knows this key or dial. Choose one or type your own: it counts when you press Enter or leave the field.",
    waiting: "Waiting for the Stream Deck application.",
    ready: "The Stream Deck application answers. It stores the name and passes it on to the panel.",
    stored: "Stored: ",
    silent:
      "The Stream Deck application doesn’t answer: the name isn’t stored. Select the key again.",
  },
  de: {
    label: "Name der Taste",
    hint: "Der Name, unter dem der Simulator diese Taste oder diesen Drehknopf kennt. Wähle einen aus oder gib einen eigenen ein: Er gilt, sobald du die Eingabetaste drückst oder das Feld verlässt.",
    waiting: "Warte auf die Stream-Deck-Anwendung.",
    ready:
      "Die Stream-Deck-Anwendung antwortet. Sie speichert den Namen und gibt ihn an das Panel weiter.",
    stored: "Gespeichert: ",
    silent:
      "Die Stream-Deck-Anwendung antwortet nicht: Der Name ist nicht gespeichert. Wähle die Taste noch einmal aus.",
  },
  fr: {
    label: "Nom de la touche",
    hint: "Le nom sous lequel le simulateur connaît cette touche ou cette molette. Choisissez-en un ou saisissez le vôtre : il compte dès que vous appuyez sur Entrée ou quittez le champ.",
    waiting: "En attente de l’application Stream Deck.",
    ready: "L’application Stream Deck répond. Elle enregistre le nom et le transmet au panneau.",
    stored: "Enregistré : ",
    silent:
      "L’application Stream Deck ne répond pas : le nom n’est pas enregistré. Sélectionnez la touche de nouveau.",
  },
  es: {
    label: "Nombre de la tecla",
    hint: "El nombre con el que el simulador conoce esta tecla o este dial. Elige uno o escribe el tuyo: cuenta al pulsar Intro o al salir del campo.",
    waiting: "Esperando a la aplicación Stream Deck.",
    ready: "La aplicación Stream Deck responde. Guarda el nombre y lo pasa al panel.",
    stored: "Guardado: ",
    silent:
      "La aplicación Stream Deck no responde: el nombre no está guardado. Selecciona la tecla otra vez.",
  },
  ja: {
    label: "キー名",
    hint: "シミュレーター側がこのキーまたはダイヤルを識別する名前です。一覧から選ぶか入力してください。Enter キーを押すか、入力欄を離れると確定します。",
    waiting: "Stream Deck アプリケーションを待っています。",
    ready: "Stream Deck アプリケーションは応答しています。名前は保存され、パネルに渡されます。",
    stored: "保存しました: ",
    silent:
      "Stream Deck アプリケーションが応答しないため、名前は保存されていません。キーをもう一度選択してください。",
  },
  ko: {
    label: "키 이름",
    hint: "시뮬레이터 쪽에서 이 키나 다이얼을 구별하는 이름입니다. 목록에서 고르거나 직접 입력하세요. Enter 키를 누르거나 입력란을 벗어나면 적용됩니다.",
    waiting: "Stream Deck 애플리케이션을 기다리는 중입니다.",
    ready: "Stream Deck 애플리케이션이 응답합니다. 이름을 저장하고 패널에 전달합니다.",
    stored: "저장됨: ",
    silent:
      "Stream Deck 애플리케이션이 응답하지 않아 이름이 저장되지 않았습니다. 키를 다시 선택하세요.",
  },
  zh_CN: {
    label: "按键名称",
    hint: "模拟器一侧用来识别此按键或旋钮的名称。可从列表中选择，也可自行输入：按 Enter 键或离开输入框后生效。",
    waiting: "正在等待 Stream Deck 应用程序。",
    ready: "Stream Deck 应用程序有响应。它会保存名称并传给面板。",
    stored: "已保存：",
    silent: "Stream Deck 应用程序没有响应，名称未保存。请重新选择该按键。",
  },
  zh_TW: {
    label: "按鍵名稱",
    hint: "模擬器一側用來識別此按鍵或旋鈕的名稱。可從清單中選擇，也可自行輸入：按 Enter 鍵或離開輸入欄後生效。",
    waiting: "正在等待 Stream Deck 應用程式。",
    ready: "Stream Deck 應用程式有回應。它會儲存名稱並傳給面板。",
    stored: "已儲存：",
    silent: "Stream Deck 應用程式沒有回應，名稱未儲存。請重新選取該按鍵。",
  },
};
