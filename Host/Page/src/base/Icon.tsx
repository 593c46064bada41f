// A picture by the name that a model gives it. Our own line icons are drawn in place and take the colour of the text;
// "plugin:NAME" and other names are fetched from the host, which needs the session's token, and shown from a blob.
import pictures from 'icons';
import { useEffect, useState } from 'preact/hooks';
import { request } from '../session';

// Names of the desktop's own pictures that models may use, and ours for them.
const aliases: Record<string, string> = {
  TB_SendTemplate: 'send',
  TB_ArchiveTemplate: 'archive',
  TB_JunkTemplate: 'junk',
  TB_NotJunkTemplate: 'notJunk',
  RolloverDeleteTemplate: 'trash',
  bodyText: 'file',
  general: 'preferences',
  getMail: 'refresh',
  discard: 'trash',
  flagged: 'flagFilled',
  unflagged: 'flag',
  junkMailFlag: 'junk',
  MessageListReplyTemplate: 'reply',
  MessageListForwardTemplate: 'forward',
  MessageListRedirectedTemplate: 'forward',
  MessageListAttachmentTemplate: 'attach',
};

interface Picture {
  address: string;
  isTemplate: boolean; // a shape in one colour, meant to take that of the text
}

const fetched = new Map<string, Promise<Picture>>();

async function fetchAnew(name: string): Promise<Picture> {
  const answer = await request(`/images/${encodeURIComponent(name.replace(/^plugin:/, ''))}`);
  const blob = await answer.blob();
  const isTemplate = name.endsWith('Template') || (await blob.text()).includes('currentColor');
  return { address: URL.createObjectURL(blob), isTemplate };
}

function fetchPicture(name: string): Promise<Picture> {
  let picture = fetched.get(name);
  if (!picture) {
    picture = fetchAnew(name);
    // A picture that is not there is not asked for each time it would be drawn.
    picture.catch(() => window.setTimeout(() => fetched.delete(name), 60_000));
    fetched.set(name, picture);
  }
  return picture;
}

export function isOwnPicture(name: string): boolean {
  return Object.hasOwn(pictures, aliases[name] ?? name);
}

interface IconProps {
  name: string;
  label?: string; // for pictures that stand alone; without it the picture is decoration
  fallback?: string; // the text to show where the picture cannot be had
  size?: number;
}

export function Icon({ name, label, fallback, size }: IconProps) {
  const own = aliases[name] ?? name;
  const style = size ? { width: size, height: size } : undefined;
  const meaning = label ? ({ role: 'img', 'aria-label': label, title: label } as const) : { 'aria-hidden': true };
  if (Object.hasOwn(pictures, own))
    return (
      <span class="icon" style={style} {...meaning} dangerouslySetInnerHTML={{ __html: pictures[own] ?? '' }} />
    );
  return <FetchedIcon name={name} fallback={fallback} style={style} meaning={meaning} />;
}

interface FetchedProps {
  name: string;
  fallback: string | undefined;
  style: Record<string, number> | undefined;
  meaning: object;
}

function FetchedIcon(props: FetchedProps) {
  const isData = props.name.startsWith('data:image/');
  const [picture, setPicture] = useState<Picture | null>(isData ? { address: props.name, isTemplate: false } : null);
  const [missing, setMissing] = useState(false);
  useEffect(() => {
    if (isData || !props.name) return undefined;
    let wanted = true;
    fetchPicture(props.name)
      .then((found) => wanted && setPicture(found))
      .catch(() => wanted && setMissing(true));
    return () => {
      wanted = false;
    };
  }, [props.name]);
  if (missing && props.fallback) return <span {...props.meaning}>{props.fallback}</span>;
  if (!picture) return <span class="icon" style={props.style} {...props.meaning} />;
  const { address } = picture;
  if (picture.isTemplate)
    return (
      <span
        class="icon template"
        style={{ ...props.style, maskImage: `url("${address}")`, WebkitMaskImage: `url("${address}")` }}
        {...props.meaning}
      />
    );
  return (
    <span class="icon" style={props.style} {...props.meaning}>
      <img src={address} alt="" />
    </span>
  );
}
