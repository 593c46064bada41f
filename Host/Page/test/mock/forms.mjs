// A preferences pane with every kind of control, a sheet, and the extra rows of a compose window.
const control = (id, kind, label, value, more = {}) => ({ id, kind, label, value, enabled: true, ...more });
const option = (title, value = title) => ({ title, value });

export const sendingPane = () => ({
  identifier: 'sending', title: 'Sending', buttons: [],
  groups: [
    {
      title: 'Undo', note: 'During that time every message waits in the outbox and can be taken back.',
      controls: [
        control('delay', 'checkBox', 'Delay outgoing messages', true),
        control('seconds', 'number', 'Delay', 30, { minimum: 5, maximum: 600, step: 5, unit: 'seconds' }),
        control('mode', 'segmented', 'After sending', 'next', { options: [option('Show next', 'next'), option('Stay', 'stay'), option('Go back', 'back')] }),
      ],
    },
    {
      title: 'Schedule',
      controls: [
        control('morning', 'timeOfDay', 'Morning', { $date: 1795334400 }),
        control('next', 'dateTime', 'Next delivery', { $date: 1795338000 }),
        control('account', 'popUp', 'Account', 'work', { options: [option('Work', 'work'), { title: '', value: null, separator: true }, option('Home', 'home')] }),
        control('shortcut', 'shortcut', 'Send later', { characters: 'l', modifierFlags: (1 << 20) | (1 << 19) }),
      ],
    },
    {
      title: 'Forgotten attachments',
      controls: [
        control('words', 'textList', 'Warn about', ['attached', 'enclosed', 'see the file'], { placeholder: 'Another word' }),
        control('name', 'textField', 'Signature', 'Charles', { placeholder: 'None' }),
        control('key', 'secret', 'Key', null, { placeholder: 'Not shown' }),
        control('line', 'separator', '', null),
        control('told', 'text', 'State', 'Checked a minute ago.'),
        control('check', 'button', 'Check now', null),
      ],
    },
  ],
});

export const servicesPane = () => ({
  identifier: 'services', title: 'Services', buttons: [],
  groups: [{
    title: 'Services',
    controls: [
      control('services', 'list', '', ['two'], {
        toolTip: 'Services', controls: ['link', 'remove'],
        options: [
          { ...option('One', 'one'), detail: 'Attachment Upload', state: 'Linked', stateColor: '#33C74A', image: 'link' },
          { ...option('Two (ada@x.example)', 'two'), detail: 'Tasks/Reminders', state: 'Linking…', stateColor: '#FCBF40', image: 'link' },
          { ...option('Three', 'three'), detail: 'Contact Images', state: 'Not linked', stateColor: '#E0E0E0', image: 'link' },
        ],
      }),
      control('link', 'button', 'Link', null),
      control('remove', 'button', 'Remove', null, { enabled: false }),
    ],
  }],
});

export const generalPane = () => ({
  identifier: 'general', title: 'General', buttons: [],
  groups: [{ title: 'Reading', controls: [control('photos', 'checkBox', 'Show pictures of people', false), control('size', 'popUp', 'Text size', 'medium', { options: [option('Small', 'small'), option('Medium', 'medium'), option('Large', 'large')] })] }],
});

export const scheduleSheet = () => ({
  identifier: 'schedule', title: 'Send this message later', message: 'It waits in the outbox until then.',
  groups: [{
    title: '',
    controls: [
      control('mode', 'radio', '', 2, {
        toolTip: 'When to send',
        options: [
          { ...option('Day', 0), controls: ['day', 'time'] },
          { ...option('After', 1), controls: ['count', 'unit'] },
          { ...option('Date', 2), controls: ['date'] },
        ],
      }),
      control('day', 'popUp', '', 1, { toolTip: 'Day', enabled: false, options: [option('Today', 0), option('Tomorrow', 1)] }),
      control('time', 'timeOfDay', '', { $date: 1795334400 }, { toolTip: 'Time', enabled: false }),
      control('count', 'number', '', 2, { toolTip: 'How many', enabled: false, minimum: 0, maximum: 999 }),
      control('unit', 'popUp', '', 1, { toolTip: 'Unit', enabled: false, options: [option('Minutes', 0), option('Hours', 1)] }),
      control('date', 'dateTime', '', { $date: 1795338000 }, { toolTip: 'Date and time', earliest: { $date: 1795330000 } }),
      control('told', 'text', '', 'Sunday, 22 November 2026 at 10:00'),
    ],
  }],
  buttons: [{ title: 'Cancel', isCancel: true }, { title: 'Schedule', isDefault: true }],
});

export const composeRows = () => [
  { identifier: 'signature', place: 'subject', controls: [control('signature', 'popUp', '', 'short', { toolTip: 'Signature', options: [option('Short', 'short'), option('Long', 'long'), option('None', '')] })] },
  { identifier: 'tracking', place: 'content', controls: [control('track', 'checkBox', 'Track', false), control('follow', 'checkBox', 'Follow up', true), control('when', 'popUp', '', '3', { toolTip: 'Follow up when', options: [option('In 3 days', '3'), option('In a week', '7')] }), control('emoji', 'button', 'Emoji', null)] },
];

export const textSheet = () => ({
  identifier: 'text', title: 'Create Note',
  groups: [
    {
      title: '',
      controls: [
        control('title', 'textField', 'Title', 'Paper'),
        control('notebook', 'popUp', 'Notebook', 'one', { options: [option('Inbox', 'one'), option('Sales (💼)', 'two')] }),
        control('tags', 'tokens', 'Tags', ['mail'], { placeholder: 'Add a tag', options: [option('paper'), option('people'), option('work')] }),
      ],
    },
    { title: '', controls: [control('content', 'richText', '', '<p>It is <b>ready</b>.</p><img src=x onerror=alert(1)>', { toolTip: 'Text of the note' })] },
    { title: '', controls: [control('attachments', 'checkBox', 'Include email attachments (1)', true)] },
  ],
  buttons: [{ title: 'Save', isDefault: true }, { title: 'Cancel', isCancel: true }],
});
