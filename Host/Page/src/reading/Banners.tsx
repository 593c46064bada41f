// The strips above a message: what host and plug-ins have to say about it, with buttons.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import type { BannerModel } from '../protocol';

export const Banners = ({ banners }: { banners: BannerModel[] }) => (
  <>
    {banners.map((banner) => (
      <div
        key={banner.id} class="banner" role="note" data-anchor={banner.id}
        style={banner.colour ? { '--banner-colour': banner.colour } : undefined}
      >
        {banner.image && <Icon name={banner.image} />}
        {banner.text && <p>{banner.text}</p>}
        {banner.buttons.map((button) => (
          <BannerButton key={button.id} button={button} />
        ))}
        {banner.trailing && <span class={`banner-trailing${banner.trailing.late ? ' late' : ''}`}>{banner.trailing.text}</span>}
      </div>
    ))}
  </>
);

function BannerButton({ button }: { button: BannerModel['buttons'][number] }) {
  const press = (): void => act('banner.press', { button: button.id });
  if (button.checked === undefined)
    return (
      <button
        type="button" class="small-button" data-anchor={button.id} disabled={button.disabled} onClick={press}
      >
        {button.title}
      </button>
    );
  return (
    <label class="banner-check" data-anchor={button.id}>
      <input type="checkbox" checked={button.checked} onChange={press} />
      {button.title}
    </label>
  );
}
